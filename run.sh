#!/usr/bin/env bash
# One entry point for a fresh machine, a developer and CI alike, so that all three build and test
# the same way. See README.md for the commands.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")"

# Everything the build, the generator and the tools need, as Debian packages.
readonly PACKAGES=(
  g++ cmake ninja-build ccache
  libboost1.81-dev libboost-json1.81-dev
  libgtest-dev libgmock-dev libbenchmark-dev libssl-dev
  python3 python3-jinja2 clang-format openssl nodejs
  libsqlite3-dev libcli11-dev
)

# Fuzzing alone needs clang and its libFuzzer runtime: only `./run.sh fuzz` installs them.
readonly FUZZ_PACKAGES=(clang libclang-rt-14-dev)

# The reference of the headers alone needs Doxygen: only `./run.sh docs` installs it.
readonly DOCS_PACKAGES=(doxygen)


# A leak fails a test like any other fault, and the first report stops the test, so that it is the
# last thing the test printed. A developer's own settings win.
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
export TSAN_OPTIONS="${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1}"

say() { printf 'run.sh: %s\n' "$*"; }

missing_packages() {
  local package
  for package in "$@"; do
    # A removed package can leave "deinstall ok config-files" behind: only this status counts.
    if [[ "$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)" != "install ok installed" ]]; then
      printf '%s\n' "$package"
    fi
  done
}

# install_missing PACKAGE...
install_missing() {
  if ! command -v dpkg-query >/dev/null; then
    say "not a Debian system: make sure these are installed: $*"
    return 0
  fi
  local missing
  mapfile -t missing < <(missing_packages "$@")
  if ((${#missing[@]} == 0)); then
    return 0
  fi
  local install=(apt-get install -y --no-install-recommends "${missing[@]}")
  if ((EUID != 0)); then
    say "missing packages: ${missing[*]}; install them with:" >&2
    printf '  sudo %s\n' "${install[*]}" >&2
    exit 1
  fi
  say "installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  # The package lists of a fresh machine may be absent or stale; refresh them only when needed.
  if ! "${install[@]}"; then
    apt-get update
    "${install[@]}"
  fi
}

build() {
  local preset=$1
  cmake --preset "$preset"
  cmake --build --preset "$preset"
}

# The discovery test checks documents with Node packages pinned by a lock file, which CMake copies
# into the build tree; they are installed there, again only when the lock file has changed.
install_node_packages() {
  local dir=build/dev/opax/rpc/discovery/schema_check
  [[ -f "$dir/package-lock.json" ]] || return 0
  if cmp -s "$dir/package-lock.json" "$dir/node_modules/.installed-lock.json"; then
    return 0
  fi
  if ! command -v npm >/dev/null; then
    install_missing npm
  fi
  say "installing the discovery test's Node packages into $dir"
  (cd "$dir" && npm ci --no-audit --no-fund)
  cp "$dir/package-lock.json" "$dir/node_modules/.installed-lock.json"
}

test_dev() {
  build dev
  install_node_packages
  ctest --preset dev
}

# The sanitizer presets build the runtime's tests and the call-path tests over a few areas
# (CMakePresets.json says which), not the whole catalogue: instrumenting every service would
# cost more build time than it finds, since all services share one call path.
test_asan() {
  build asan
  ctest --preset asan -L "runtime|bindings|rpc"
}

test_tsan() {
  build tsan
  ctest --preset tsan -L "runtime|bindings|rpc"
}

# Every hand-written C++ source follows .clang-format; a difference fails the run and names the
# file and line. Generated code is not checked: nothing generated is committed.
check_format() {
  local files
  if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    mapfile -t files < <(git ls-files '*.h' '*.cpp')
  else
    mapfile -t files < <(find opax runtime idl tools bench fuzz examples -name '*.h' -o -name '*.cpp')
  fi
  say "checking the format of ${#files[@]} sources"
  clang-format --dry-run --Werror "${files[@]}"
}

# The package as a user gets it: installed into a temporary prefix, examples/ built against it
# as a project of its own, and run against nexar-sim, after the command line's tour of the same
# server (tools/demo/demo.sh does all three and stops the server whatever happens).
test_installed_package() {
  tools/demo/demo.sh build/dev
}

# Every reader of untrusted input gets a minute of fuzzing from its seed corpus on each run, so
# that a change which makes one of them crash on a known shape of input fails here.
test_fuzz() {
  run_fuzz 60
}

run_tests() {
  check_format
  test_dev
  test_installed_package
  test_asan
  test_tsan
  test_fuzz
}

run_demo() {
  build dev
  tools/demo/demo.sh build/dev
}

# Runs every libFuzzer target for SECONDS (60 by default) from its seed corpus in fuzz/corpus,
# collecting new inputs in build/fuzz/corpus, then the generator's description fuzzer for as long.
# A finding stops the run with a failure and leaves the input in build/fuzz/findings for a
# regression test. Installs clang first if it is missing, so that `./run.sh test` can call it too.
run_fuzz() {
  local seconds=${1:-60}
  install_missing "${FUZZ_PACKAGES[@]}"
  build fuzz
  local target name
  mkdir -p build/fuzz/findings
  for target in build/fuzz/fuzz/*_fuzz; do
    [[ -f "$target" && -x "$target" ]] || continue
    name=$(basename "$target" _fuzz)
    mkdir -p "build/fuzz/corpus/$name"
    say "fuzzing $name for ${seconds}s"
    # An input that takes longer than -timeout counts as a hang, i.e. a finding.
    "$target" -max_total_time="$seconds" -timeout=30 -print_final_stats=1 \
      -artifact_prefix=build/fuzz/findings/ "build/fuzz/corpus/$name" "fuzz/corpus/$name"
  done
  say "fuzzing the description parser for ${seconds}s"
  PYTHONDONTWRITEBYTECODE=1 python3 fuzz/idl_parser_fuzz.py --seconds "$seconds" --findings build/fuzz/findings
}

# The reference of the public headers, generated service headers included (which is why the
# generator runs first), in build/docs/html.
run_docs() {
  cmake --preset dev
  cmake --build --preset dev --target nexar_generate
  mkdir -p build/docs
  say "writing the reference of the headers to build/docs/html"
  NEXAR_DOCS_DIR=build/docs NEXAR_GEN_DIR=build/dev/gen doxygen docs/Doxyfile
  if [[ -s build/docs/warnings.log ]]; then
    say "Doxygen found faults in comments:" >&2
    cat build/docs/warnings.log >&2
    exit 1
  fi
  say "open build/docs/html/index.html"
}

run_benchmarks() {
  build dev
  local bench found=0
  for bench in build/dev/bench/*_bench; do
    [[ -f "$bench" && -x "$bench" ]] || continue
    found=1
    say "$bench"
    "$bench" "$@"
  done
  if ((found == 0)); then
    say "no benchmarks are built yet (bench/*_bench.cpp)"
  fi
}

usage() {
  cat <<'EOF'
usage: ./run.sh COMMAND [ARGS...]
  test         install what is missing, check the sources' format (clang-format), build, run
               every test (dev), install the package into a temporary prefix and build and run
               examples/ against it and nexar-sim, then the runtime's and the
               call path's tests under AddressSanitizer and UndefinedBehaviorSanitizer (asan)
               and under ThreadSanitizer (tsan), and every fuzz target for 60 s (fuzz)
  demo         install what is missing, build, and tour nexar-sim over HTTPS with the nexar
               command line and the example program of examples/
  bench [ARGS] build and run every benchmark; ARGS go to each (e.g. --benchmark_filter=Json)
  build        install what is missing and build the dev preset
  fuzz [SECS]  install clang, build the fuzz preset and run every fuzz target for SECS (60),
               then the generator's description fuzzer (fuzz/idl_parser_fuzz.py) for as long
  docs         install Doxygen and write the reference of the public headers to build/docs/html
EOF
}

main() {
  local command=${1:-}
  shift || true
  case "$command" in
    test | demo | bench | build | fuzz | docs) ;;
    -h | --help | help)
      usage
      return 0
      ;;
    *)
      usage >&2
      exit 2
      ;;
  esac
  install_missing "${PACKAGES[@]}"
  case "$command" in
    test) run_tests ;;
    demo) run_demo "$@" ;;
    bench) run_benchmarks "$@" ;;
    build) build dev ;;
    docs)
      install_missing "${DOCS_PACKAGES[@]}"
      run_docs
      ;;
    fuzz) run_fuzz "$@" ;;
  esac
}

main "$@"
