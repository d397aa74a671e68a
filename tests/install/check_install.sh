#!/bin/sh
# Installs the program and the framework from a build tree into a temporary
# prefix, then builds the hello program against the installed framework both
# ways (pkg-config and find_package) and runs it headless.
#
#   check_install.sh BUILD_DIR CXX CMAKE
set -eu
build=$1
cxx=$2
cmake=$3
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d /tmp/vesk_install_XXXXXX)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

"$cmake" --install "$build" --prefix "$prefix" >"$work/install.log" 2>&1 || { cat "$work/install.log"; fail "install"; }
"$cmake" --install "$build" --prefix "$prefix" --component ozgi >>"$work/install.log" 2>&1 ||
  { cat "$work/install.log"; fail "install of the framework"; }

[ -x "$prefix/bin/vesk" ] || fail "bin/vesk is not installed"
[ -f "$prefix/include/ozgi/ozgi.h" ] || fail "include/ozgi/ozgi.h is not installed"
pc=$(find "$prefix" -name ozgi.pc)
[ -n "$pc" ] || fail "ozgi.pc is not installed"
config=$(find "$prefix" -name ozgiConfig.cmake)
[ -n "$config" ] || fail "ozgiConfig.cmake is not installed"
[ -n "$(find "$prefix" -name libozgi.a)" ] || fail "libozgi.a is not installed"
"$prefix/bin/vesk" --help | head -n 1 | grep -qx "vesk: Display diagnostic menus based on directory." ||
  fail "the installed vesk does not print its usage"

# With a shared libozgi (BUILD_SHARED_LIBS=ON) the linker takes it before the
# static one, so every hello program finds it at run time here.
shared=$(find "$prefix" -name 'libozgi.so.*' | head -n 1)
if [ -n "$shared" ]; then
  LD_LIBRARY_PATH=$(dirname "$shared")${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}
  export LD_LIBRARY_PATH
fi

# Runs a hello program headless and checks that its page shows the greeting.
check_hello() {
  out=$(printf 'dump -\n' | "$@" --ozgi-video=headless --ozgi-script=-) || fail "$1 ended with a failure"
  echo "$out" | grep -q '"text": "Hello from ozgi"' || fail "$1 did not show its page: $out"
}

# pkg-config, with what a static library needs.
export PKG_CONFIG_PATH="$(dirname "$pc")"
flags=$(pkg-config --static --cflags --libs ozgi) || fail "pkg-config does not know ozgi"
"$cxx" -std=c++17 -o "$work/hello_pc" "$here/hello/hello.cpp" $flags || fail "building against ozgi.pc"
check_hello "$work/hello_pc"
echo "pkg-config (--static): ok"

# pkg-config, shared library.
if [ -n "$shared" ]; then
  "$cxx" -std=c++17 -o "$work/hello_so" "$here/hello/hello.cpp" $(pkg-config --cflags --libs ozgi) ||
    fail "building against the shared libozgi"
  readelf -d "$work/hello_so" | grep -q 'NEEDED.*libozgi\.so\.0' || fail "hello_so does not use libozgi.so.0"
  check_hello "$work/hello_so"
  echo "pkg-config (shared $(basename "$shared")): ok"
fi

# find_package(ozgi).
"$cmake" -S "$here/hello" -B "$work/hello_build" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_PREFIX_PATH="$prefix" \
  >"$work/hello_cmake.log" 2>&1 || { cat "$work/hello_cmake.log"; fail "find_package(ozgi)"; }
"$cmake" --build "$work/hello_build" >>"$work/hello_cmake.log" 2>&1 ||
  { cat "$work/hello_cmake.log"; fail "building with ozgi::ozgi"; }
check_hello "$work/hello_build/hello"
echo "find_package: ok"
