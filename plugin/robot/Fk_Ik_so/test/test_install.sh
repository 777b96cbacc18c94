#!/bin/sh
# The library as an integrator meets it, from the build tree under test: installed into
# a prefix whose path has a space in it, the examples built as an outside CMake project
# with find_package and run; the C example compiled as C99 with the flags pkg-config
# gives; the Debian package built with cpack, unpacked, and an example built against the
# unpacked tree; the installed fkik run from the prefix. Every example's pose must be
# fkik's for the same joints (the URDF host reads the sample arm from its URDF file), and
# asking for version 2.0 must fail.
# Usage: test_install.sh BUILD_DIR EXAMPLES_DIR
set -u
build=$1
examples=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
prefix="$tmp/installed prefix"
failures=0
failed() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}
# run LOG COMMAND...: the command's output goes to LOG, shown when it fails.
run() {
  log=$1
  shift
  "$@" >"$log" 2>&1 || { failed "$*"; cat "$log"; return 1; }
}
# Largest absolute difference between two lists of numbers.
difference() {
  echo "$1 | $2" | awk -F'|' '{
    n = split($1, a, " "); m = split($2, b, " "); d = (n == m && n == 6) ? 0 : 1e300
    for (i = 1; i <= n; ++i) { e = a[i] - b[i]; if (e < 0) e = -e; if (e > d) d = e }
    print d }'
}
q="0.3 -1.1 1.4 -0.6 0.8 2.5"
sample_urdf="$(dirname "$0")/urdf/parallel_middle.urdf"
# same_pose NAME OUTPUT: the "pose" line of OUTPUT against fkik's, which prints 9 decimals.
same_pose() {
  pose=$(echo "$2" | awk '$1 == "pose" { $1 = ""; print }')
  d=$(difference "$pose" "$expected")
  awk -v d="$d" 'BEGIN { exit !(d <= 1e-9) }' || failed "$1: pose '$pose', fkik '$expected'"
}

# Installed into the prefix, fkik finds the library in ../lib from its bin/.
run "$tmp/install.log" cmake --install "$build" --prefix "$prefix" || exit 1
expected=$("$prefix/bin/fkik" fk $q | awk '$1 == "tcp" { $1 = ""; print }')
[ -n "$expected" ] || failed "installed fkik: no pose"
[ -e "$prefix/include/fk_ik_so/robot.h" ] && [ ! -e "$prefix/include/fk_ik_so/simd_trig.h" ] ||
  failed "installed headers: robot.h missing or simd_trig.h installed"
objdump -p "$prefix"/lib*/libFk_Ik_so.so.1 2>/dev/null | grep -q "SONAME *libFk_Ik_so.so.1" ||
  objdump -p "$prefix"/lib/*/libFk_Ik_so.so.1 | grep -q "SONAME *libFk_Ik_so.so.1" ||
  failed "installed library: no SONAME libFk_Ik_so.so.1"
libdir=$(dirname "$(find "$prefix" -name libFk_Ik_so.so.1)")
objdump -p "$libdir/libFk_Ik_so_urdf.so.1" | grep -q "SONAME *libFk_Ik_so_urdf.so.1" &&
  [ -e "$prefix/include/fk_ik_so/fk_ik_urdf.h" ] && [ -e "$prefix/include/fk_ik_so/arm_urdf.h" ] ||
  failed "installed URDF reader: libFk_Ik_so_urdf.so.1 or its headers missing"

# The CMake package: the examples as an outside project.
if run "$tmp/examples.log" cmake -S "$examples" -B "$tmp/examples build" \
  -DCMAKE_PREFIX_PATH="$prefix" &&
  run "$tmp/examples-build.log" cmake --build "$tmp/examples build"; then
  same_pose "c_host_linked" "$("$tmp/examples build/c_host_linked" $q)"
  same_pose "c_host_dlopen" "$(LD_LIBRARY_PATH="$libdir" "$tmp/examples build/c_host_dlopen" \
    libFk_Ik_so.so.1 $q)"
  out=$("$tmp/examples build/robot_jacobian" $q) || failed "robot_jacobian: $out"
  same_pose "robot_jacobian" "$out"
  same_pose "c_urdf_host" "$("$tmp/examples build/c_urdf_host" "$sample_urdf" $q)"
fi

# A version the package does not satisfy.
mkdir "$tmp/v2"
printf 'cmake_minimum_required(VERSION 3.16)\nproject(v2 NONE)\nfind_package(Fk_Ik_so 2.0 REQUIRED)\n' \
  >"$tmp/v2/CMakeLists.txt"
if cmake -S "$tmp/v2" -B "$tmp/v2/build" -DCMAKE_PREFIX_PATH="$prefix" >"$tmp/v2.log" 2>&1 ||
  ! grep -q 'compatible with requested version "2.0"' "$tmp/v2.log"; then
  failed "find_package(Fk_Ik_so 2.0) did not fail with the version message"
  cat "$tmp/v2.log"
fi

# pkg-config, and the C header as C99 under -pedantic (pkg-config escapes the space).
export PKG_CONFIG_PATH="$libdir/pkgconfig"
flags=$(pkg-config --cflags --libs fk_ik_so) || failed "pkg-config fk_ik_so"
if run "$tmp/c99.log" eval "cc -std=c99 -Wall -Wextra -pedantic -Werror -o \"$tmp/c99 host\" \
  \"$examples/c_host_linked.c\" $flags"; then
  same_pose "C99 build with pkg-config" "$(LD_LIBRARY_PATH="$libdir" "$tmp/c99 host" $q)"
fi
flags=$(pkg-config --cflags --libs fk_ik_so_urdf) || failed "pkg-config fk_ik_so_urdf"
if run "$tmp/c99-urdf.log" eval "cc -std=c99 -Wall -Wextra -pedantic -Werror -o \"$tmp/c99 urdf host\" \
  \"$examples/c_urdf_host.c\" $flags"; then
  same_pose "C99 URDF host with pkg-config" \
    "$(LD_LIBRARY_PATH="$libdir" "$tmp/c99 urdf host" "$sample_urdf" $q)"
fi

# The Debian package: its dependencies, and an example built against its unpacked tree.
if run "$tmp/cpack.log" cpack -G DEB --config "$build/CPackConfig.cmake" -B "$tmp/deb"; then
  deb=$(ls "$tmp"/deb/*.deb)
  depends=$(dpkg-deb -f "$deb" Depends)
  packages="liborocos-kdl liburdfdom-model libstdc++6"
  [ -z "$(find "$prefix" -name 'fk_ik' -type d)" ] || packages="$packages python3-numpy"
  for package in $packages; do
    echo "$depends" | grep -q "$package" || failed "package depends on no $package: $depends"
  done
  dpkg-deb -x "$deb" "$tmp/unpacked root"
  root="$tmp/unpacked root/usr"
  if run "$tmp/deb-example.log" cmake -S "$examples" -B "$tmp/deb build" \
    -DCMAKE_PREFIX_PATH="$root" && run "$tmp/deb-build.log" cmake --build "$tmp/deb build" \
    --target robot_jacobian c_urdf_host; then
    same_pose "robot_jacobian on the package" "$("$tmp/deb build/robot_jacobian" $q)"
    same_pose "c_urdf_host on the package" "$("$tmp/deb build/c_urdf_host" "$sample_urdf" $q)"
  fi
  same_pose "fkik of the package" "pose $("$root/bin/fkik" fk $q | awk '$1 == "tcp" { $1 = ""; print }')"
fi

[ "$failures" -eq 0 ] && echo "installed, packaged and used from outside: every pose is fkik's" &&
  exit 0
echo "$failures failed"
exit 1
