# Run inside the system image's chroot after the vesk package was installed
# (scripts/system-image): what the package brought, and what the SDL KMSDRM
# path (libsdl2 with Mesa's EGL and DRI drivers) would add on top of it.
set -eu
sum_kb() { total=0; n=0
  for p in "$@"; do
    kb=$(apt-cache show --no-all-versions "$p" 2>/dev/null | sed -n 's/^Installed-Size: //p' | head -1)
    total=$((total + ${kb:-0})); n=$((n + 1))
  done
  echo "$n packages, $((total / 1024)) MB"; }
vesk_new=$(sed -n '/^The following NEW packages will be installed:/,/^[0-9]* upgraded/p' /root/apt.log |
           sed '1d;$d' | tr ' ' '\n' | grep -v '^$' | grep -vx vesk || true)
echo "vesk package: $(dpkg-query -W -f='${Installed-Size}' vesk) KB installed"
echo "its dependency closure on minbase: $(sum_kb $vesk_new)"
sdl=$(apt-get install -s --no-install-recommends libsdl2-2.0-0 libegl-mesa0 libgl1-mesa-dri |
      sed -n 's/^Inst \([^ ]*\).*/\1/p')
echo "the SDL KMSDRM path adds: $(sum_kb $sdl)"
echo "SDL KMSDRM packages: $(echo $sdl)"
