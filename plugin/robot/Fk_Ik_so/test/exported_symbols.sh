#!/bin/sh
# The library's dynamic symbols against the reviewed list exported_symbols.txt: the C
# functions and the interface's classes, nothing else. The library is linked with a
# version script made from the list (cmake/Fk_Ik_soExports.cmake), so every symbol it
# defines must carry the list's version node, NAME@@NODE, and the node must be its only
# one. Names are compared without the node, demangled, one per line and sorted; a
# constructor or destructor shows twice (its complete-object and base-object symbols).
# A name of the list that the library no longer defines, or a symbol of another version,
# fails here.
# Usage: exported_symbols.sh LIBRARY LIST NODE
#        exported_symbols.sh --update MARKED_LIBRARY LIST
#   --update rewrites LIST from a copy of the library linked without the version script,
#   which exports everything the sources mark FK_IK_SO_API
#   (cmake --build build --target update_exported_symbols).
set -eu
header() {
  echo "# Dynamic symbols of libFk_Ik_so (nm -D --defined-only -C). The library exports these"
  echo "# and no others, under one symbol version: its version script is made from this list,"
  echo "# so a name marked FK_IK_SO_API is exported once it is here. Regenerated with"
  echo "# cmake --build build --target update_exported_symbols"
}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
# defined LIBRARY: "TYPE NAME[@@VERSION]" of every defined dynamic symbol, into $tmp/defined.
defined() {
  nm -D --defined-only -C "$1" >"$tmp/nm" || exit 1
  sed 's/^[0-9a-f]* //' "$tmp/nm" >"$tmp/defined"
  [ -s "$tmp/defined" ] || { echo "FAILED: $1 defines no dynamic symbol" >&2 && exit 1; }
}

if [ "$1" = "--update" ]; then
  defined "$2"
  { header && sed 's/^[A-Za-z] //' "$tmp/defined" | LC_ALL=C sort; } >"$3"
  echo "wrote $3"
  exit 0
fi

library=$1
list=$2
node=$3
defined "$library"
failed=0

# The version definitions (absolute symbols without a version of their own): the node only.
nodes=$(awk '$1 == "A" && $0 !~ /@/ { print $2 }' "$tmp/defined")
if [ "$nodes" != "$node" ]; then
  echo "FAILED: the library defines the versions '$(echo $nodes)', not '$node' alone." >&2
  failed=1
fi
# Every other symbol in the node, as its default version.
awk -v node="$node" '!($1 == "A" && $0 !~ /@/) && $0 !~ ("@@" node "$")' "$tmp/defined" \
  >"$tmp/unversioned"
if [ -s "$tmp/unversioned" ]; then
  echo "FAILED: symbols outside the version $node:" >&2
  cat "$tmp/unversioned" >&2
  failed=1
fi

{ header && grep -v "^A [^@]*$" "$tmp/defined" | sed "s/^[A-Za-z] //; s/@@$node\$//" |
  LC_ALL=C sort; } >"$tmp/actual"
if ! diff -u "$list" "$tmp/actual"; then
  echo "FAILED: the exported symbols differ from $list (- listed, + exported)." >&2
  echo "A listed name the library does not define, or whose FK_IK_SO_API went, is missing" >&2
  echo "here. After a deliberate change of the interface:" >&2
  echo "cmake --build <build> --target update_exported_symbols" >&2
  failed=1
fi
[ "$failed" -eq 0 ] || exit 1
echo "$(grep -vc '^#' "$list") exported symbols, as listed, all of version $node"
