#!/usr/bin/env bash
# The newcomer's tour: nexar-sim on a free loopback port over HTTPS with a throw-away certificate,
# a scripted session with the nexar command line, then the example program of examples/ built
# against an installed copy of the library and run against the same server. The server stops at
# the end, whatever happens.
#
#   tools/demo/demo.sh BUILD_DIR
set -euo pipefail

build=${1:?usage: demo.sh BUILD_DIR}
build=$(cd "$build" && pwd)
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
sim=$build/tools/sim/nexar-sim
nexar=$build/tools/cli/nexar

work=$(mktemp -d "${TMPDIR:-/tmp}/nexar-demo.XXXXXX")
sim_pid=
cleanup() {
  if [[ -n "$sim_pid" ]]; then
    kill -TERM "$sim_pid" 2>/dev/null || true
    wait "$sim_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT

step() { printf '\n\033[1m== %s\033[0m\n' "$*"; }
show() {
  printf '$ %s\n' "$*"
  "$@"
}

step "A throw-away certificate for 127.0.0.1"
openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj "/CN=nexar-demo" \
  -addext "subjectAltName=IP:127.0.0.1,DNS:localhost" \
  -keyout "$work/key.pem" -out "$work/cert.pem" 2>/dev/null
head -c 18 /dev/urandom | base64 | tr -d '/+=' >"$work/password"
chmod 600 "$work/password"

step "nexar-sim over HTTPS on a free loopback port"
# The log exists before the server starts: the background shell opens it only when it runs.
: >"$work/sim.log"
"$sim" --listen 127.0.0.1:0 --tls-cert "$work/cert.pem" --tls-key "$work/key.pem" \
  --password "$(cat "$work/password")" >>"$work/sim.log" 2>&1 &
sim_pid=$!
url=
for _ in $(seq 1 100); do
  url=$(sed -n 's/^nexar-sim: listening on //p' "$work/sim.log")
  [[ -n "$url" ]] && break
  kill -0 "$sim_pid" 2>/dev/null || { cat "$work/sim.log" >&2; exit 1; }
  sleep 0.1
done
[[ -n "$url" ]] || { echo "demo: nexar-sim did not start" >&2; exit 1; }
sed 's/password .*/password (in a file of the demo)/' "$work/sim.log"

# The command line keeps its session in a config directory of the demo's own.
export XDG_CONFIG_HOME=$work/config
export NEXAR_SERVER=$url
nexar=("$nexar" --ca-file "$work/cert.pem")

step "The command line: log in, look around, build a machine"
show "${nexar[@]}" login --user admin --password-stdin <"$work/password"
show "${nexar[@]}" call com.quarn.nexar.vm list --output table
network=$("${nexar[@]}" call com.quarn.nexar.network list '{"filter": {"types": ["STANDARD_PORTGROUP"]}}' |
  sed -n 's/.*"network": "\([^"]*\)".*/\1/p' | head -1)
vm=$("${nexar[@]}" call com.quarn.nexar.vm create '{"spec": {"name": "demo-vm", "guest_os": "OTHER_LINUX_64"}}' | tr -d '"')
echo "created $vm"
show "${nexar[@]}" call com.quarn.nexar.vm.hardware.ethernet create \
  "{\"vm\": \"$vm\", \"spec\": {\"type\": \"VMXNET3\", \"start_connected\": true, \"backing\": {\"type\": \"STANDARD_PORTGROUP\", \"network\": \"$network\"}}}"
show "${nexar[@]}" call com.quarn.nexar.vm.hardware.cdrom create \
  "{\"vm\": \"$vm\", \"spec\": {\"backing\": {\"type\": \"ISO_FILE\", \"iso_file\": \"[ds-east-1] iso/tools.iso\"}}}"
show "${nexar[@]}" call com.quarn.nexar.vm.power start "{\"vm\": \"$vm\"}"
show "${nexar[@]}" call com.quarn.nexar.vm.hardware.ethernet list "{\"vm\": \"$vm\"}" --output table

step "Cloning is a task: its progress, then its result"
show "${nexar[@]}" call com.quarn.nexar.vm clone --task "{\"spec\": {\"source\": \"$vm\", \"name\": \"demo-vm-clone\"}}"

step "An invalid union is refused before anything is sent (a MAC address with a generated type)"
show "${nexar[@]}" call com.quarn.nexar.vm.hardware.ethernet create \
  "{\"vm\": \"$vm\", \"spec\": {\"mac_type\": \"GENERATED\", \"mac_address\": \"00:50:56:00:00:01\"}}" || true

show "${nexar[@]}" logout

step "The same through the C++ stubs: examples/ built against an installed copy of the library"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
"$here/examples/build_and_run.sh" "$work/prefix" "$url" "$work/cert.pem" admin "$work/password"

step "Done: nexar-sim stops"
