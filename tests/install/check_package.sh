#!/bin/sh
# Makes the Debian package from a build tree and checks it without installing
# it: its name, fields, files and conffiles, and that the vesk inside runs.
#
#   check_package.sh BUILD_DIR CPACK
set -eu
build=$1
cpack=$2
work=$(mktemp -d /tmp/vesk_package_XXXXXX)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

"$cpack" --config "$build/CPackConfig.cmake" -B "$work" >"$work/cpack.log" 2>&1 || { cat "$work/cpack.log"; fail "cpack"; }
arch=$(dpkg --print-architecture)
deb=$(find "$work" -maxdepth 1 -name "vesk_*_$arch.deb")
[ -n "$deb" ] || { ls "$work"; fail "no vesk_VERSION_$arch.deb"; }
echo "package: $(basename "$deb")"

field() { dpkg-deb -f "$deb" "$1"; }
[ "$(field Package)" = vesk ] || fail "Package is $(field Package)"
[ "$(field Architecture)" = "$arch" ] || fail "Architecture is $(field Architecture)"
depends=$(field Depends)
for dep in fonts-dejavu-core fonts-wqy-microhei libc6 libfreetype6 libpng16-16 libpugixml1v5; do
  echo "$depends" | grep -q "$dep" || fail "Depends lacks $dep: $depends"
done

# libSDL2 is loaded only when an SDL display is opened, which the service tries
# last: recommended in a build with SDL, never a dependency.
case "$depends" in *libsdl2*) fail "Depends has libsdl2: $depends" ;; esac
if grep -q '^OZGI_WITH_SDL:BOOL=ON$' "$build/CMakeCache.txt"; then
  field Recommends | grep -q 'libsdl2-2.0-0 (>= 2.0.12)' || fail "Recommends lacks libsdl2-2.0-0: $(field Recommends)"
fi

# libvncserver is loaded only for --ozgi-vnc: recommended, never a dependency.
case "$depends" in *libvncserver*) fail "Depends has libvncserver: $depends" ;; esac
if grep -q '^OZGI_WITH_VNC:BOOL=ON$' "$build/CMakeCache.txt"; then
  field Recommends | grep -q 'libvncserver1' || fail "Recommends lacks libvncserver1: $(field Recommends)"
fi

files=$(dpkg-deb -c "$deb")
for f in ./usr/bin/vesk ./usr/lib/systemd/system/vesk.service ./etc/default/vesk; do
  echo "$files" | grep -q " $f\$" || fail "the package lacks $f"
done
echo "$files" | grep -q "include/ozgi" && fail "the framework's headers are in the program's package"

dpkg-deb -e "$deb" "$work/control"
grep -qx /etc/default/vesk "$work/control/conffiles" || fail "/etc/default/vesk is not a conffile"

dpkg-deb -x "$deb" "$work/root"
readelf -S "$work/root/usr/bin/vesk" | grep -q '\.symtab' && fail "vesk in the package is not stripped"
"$work/root/usr/bin/vesk" --help | head -n 1 | grep -qx "vesk: Display diagnostic menus based on directory." ||
  fail "the packaged vesk does not print its usage"
echo "ok"
