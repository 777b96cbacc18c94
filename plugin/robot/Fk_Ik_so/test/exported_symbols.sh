#!/bin/sh
# The library's dynamic symbols against the reviewed list exported_symbols.txt: the
# three C functions and the interface's classes, nothing else. Any change of the
# interface, or a helper that leaks, fails here and shows in review as a change of the
# list. Names are demangled, one per line and sorted; a constructor or destructor shows
# twice (its complete-object and base-object symbols).
# Usage: exported_symbols.sh LIBRARY LIST [--update]
#   --update rewrites LIST from LIBRARY (cmake --build build --target update_exported_symbols)
set -eu
library=$1
list=$2
symbols() {
  echo "# Dynamic symbols of libFk_Ik_so (nm -D --defined-only -C), regenerated with"
  echo "# cmake --build build --target update_exported_symbols"
  nm -D --defined-only -C "$library" | sed 's/^[0-9a-f]* [A-Za-z] //' | LC_ALL=C sort
}
if [ "${3:-}" = "--update" ]; then
  symbols >"$list"
  echo "wrote $list"
  exit 0
fi
actual=$(mktemp)
trap 'rm -f "$actual"' EXIT
symbols >"$actual"
if ! diff -u "$list" "$actual"; then
  echo "FAILED: the exported symbols differ from $list (- listed, + exported)." >&2
  echo "If the interface changed on purpose: cmake --build <build> --target update_exported_symbols" >&2
  exit 1
fi
echo "$(grep -vc '^#' "$list") exported symbols, as listed"
