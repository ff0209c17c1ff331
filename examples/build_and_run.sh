#!/usr/bin/env bash
# Builds the example against an installed Nexar package and runs it against a server, as a new
# user would: a build directory of its own, nothing but the prefix to find the package by, and no
# library path, since the installed libraries and the program find their libraries themselves.
#
#   examples/build_and_run.sh PREFIX SERVER_URL CA_FILE USER PASSWORD_FILE
#
# Ends with the example's own status.
set -euo pipefail

if (($# != 5)); then
  echo "usage: $0 PREFIX SERVER_URL CA_FILE USER PASSWORD_FILE" >&2
  exit 2
fi
prefix=$1 server=$2 ca_file=$3 user=$4 password_file=$5

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$(mktemp -d "${TMPDIR:-/tmp}/nexar-example.XXXXXX")
trap 'rm -rf "$build"' EXIT

generator=()
if command -v ninja >/dev/null; then
  generator=(-G Ninja)
fi
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi

echo "build_and_run.sh: building the example against $prefix in $build"
cmake -S "$here" -B "$build" "${generator[@]}" "${launcher[@]}" \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_PREFIX_PATH="$prefix" >"$build/configure.log" ||
  { cat "$build/configure.log" >&2; exit 1; }
cmake --build "$build"

if [[ -x "$build/cdroms_test" ]]; then
  echo "build_and_run.sh: running the example test over the package's mocks"
  env -u LD_LIBRARY_PATH "$build/cdroms_test"
fi

echo "build_and_run.sh: running vm_tour against $server"
status=0
env -u LD_LIBRARY_PATH "$build/vm_tour" --server "$server" --ca-file "$ca_file" --user "$user" \
  --password-file "$password_file" || status=$?
exit "$status"
