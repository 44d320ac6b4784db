#!/bin/sh
# Runs a Windows program (or wineboot) under wine without a display, and
# never for longer than WINE_TIMEOUT seconds (default 240), so a hung
# program cannot stall the build. WINEPREFIX and WINEDEBUG come from the
# caller (the tests set a prefix inside the build tree).
# usage: wine_run.sh program.exe [arguments...] | wine_run.sh wineboot -i
: "${WINEDEBUG:=-all}"
export WINEDEBUG
unset DISPLAY WAYLAND_DISPLAY
if [ "$1" = wineboot ]; then
  shift
  exec timeout "${WINE_TIMEOUT:-240}" wineboot "$@"
fi
exec timeout "${WINE_TIMEOUT:-240}" wine "$@"
