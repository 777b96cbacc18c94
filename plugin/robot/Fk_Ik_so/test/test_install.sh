#!/bin/sh
# The library as an integrator meets it.
#  1. The build tree under test installed into a prefix whose path has a space in it: the
#     examples built as an outside CMake project with find_package and run, the C example
#     compiled as C99 with the flags pkg-config gives, the installed fkik run; asking for
#     version 2.0 must fail.
#  2. The Debian packages (scripts/build-debs, Debian's layout and flags, without a compiler
#     warning): their names, files, dependencies, shlibs, copyright and changelogs, and no
#     error from lintian (its warnings are shown).
#  3. The packages unpacked together with dpkg -x into a scratch root: the examples built
#     against it, its fkik, and its Python module when the tree builds one.
#  4. The library built again as the next minor version (1.2.0 after 1.1.0; the library
#     only): the example programs linked against the packages run with it, first on the
#     library path, without relinking.
# Every program's pose must be fkik's for the same joints (the URDF host reads the sample
# arm from its URDF file).
# Usage: test_install.sh BUILD_DIR EXAMPLES_DIR SOURCE_DIR PYTHON(0|1)
set -u
build=$1
examples=$2
source_dir=$3
python=$4
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
# examples_against NAME PREFIX: the examples built against the installation under PREFIX,
# run (the libraries found in LIBDIR), each pose checked.
examples_against() {
  name=$1
  dir="$tmp/examples $name"
  run "$tmp/$name-examples.log" cmake -S "$examples" -B "$dir" -DCMAKE_PREFIX_PATH="$2" &&
    run "$tmp/$name-examples-build.log" cmake --build "$dir" || return 1
  same_pose "c_host_linked ($name)" "$("$dir/c_host_linked" $q)"
  same_pose "c_host_dlopen ($name)" "$(LD_LIBRARY_PATH="$3" "$dir/c_host_dlopen" \
    libFk_Ik_so.so.1 $q)"
  out=$("$dir/robot_jacobian" $q) || failed "robot_jacobian ($name): $out"
  same_pose "robot_jacobian ($name)" "$out"
  same_pose "c_urdf_host ($name)" "$("$dir/c_urdf_host" "$sample_urdf" $q)"
}

# 1. The build tree installed into a prefix. Installed, fkik finds the library in the
# prefix's library directory from its bin/.
run "$tmp/install.log" cmake --install "$build" --prefix "$prefix" || exit 1
expected=$("$prefix/bin/fkik" fk $q | awk '$1 == "tcp" { $1 = ""; print }')
[ -n "$expected" ] || failed "installed fkik: no pose"
[ -e "$prefix/include/fk_ik_so/robot.h" ] && [ ! -e "$prefix/include/fk_ik_so/simd_trig.h" ] ||
  failed "installed headers: robot.h missing or simd_trig.h installed"
libdir=$(dirname "$(find "$prefix" -name libFk_Ik_so.so.1)")
objdump -p "$libdir/libFk_Ik_so.so.1" | grep -q "SONAME *libFk_Ik_so.so.1" ||
  failed "installed library: no SONAME libFk_Ik_so.so.1"
objdump -p "$libdir/libFk_Ik_so_urdf.so.1" | grep -q "SONAME *libFk_Ik_so_urdf.so.1" &&
  [ -e "$prefix/include/fk_ik_so/fk_ik_urdf.h" ] && [ -e "$prefix/include/fk_ik_so/arm_urdf.h" ] ||
  failed "installed URDF reader: libFk_Ik_so_urdf.so.1 or its headers missing"

examples_against prefix "$prefix" "$libdir"

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
unset PKG_CONFIG_PATH

# 2. The Debian packages, from a build of their own.
if [ "$python" = 1 ]; then
  run "$tmp/build-debs.log" "$source_dir/scripts/build-debs" "$tmp/deb build" \
    -DFK_IK_BUILD_PYTHON=ON
else
  run "$tmp/build-debs.log" "$source_dir/scripts/build-debs" "$tmp/deb build"
fi || exit 1
grep 'warning:' "$tmp/build-debs.log" && failed "compiler warnings under Debian's build flags"
version=$(sed -n "s/^version='\(.*\)'$/\1/p" "$tmp/deb build/debian/settings.sh")
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
arch=$(dpkg-architecture -qDEB_HOST_ARCH)
debs="$tmp/deb build/debs"
names="fkik libfk-ik-so-dev libfk-ik-so-urdf1 libfk-ik-so1"
[ "$python" = 1 ] && names="$names python3-fk-ik"
# The package files: these and no others.
built=$(cd "$debs" && ls | LC_ALL=C sort)
wanted=$(for name in $names; do echo "${name}_$version-1_$arch.deb"; done | LC_ALL=C sort)
[ "$built" = "$wanted" ] || failed "packages: $(echo $built), not $(echo $wanted)"
deb() { echo "$debs/${1}_$version-1_$arch.deb"; }

# files PACKAGE: its files and links, one path a line without the leading ".".
files() {
  dpkg-deb -c "$(deb "$1")" | awk '$1 !~ /^d/ { print substr($6, 2) }'
}
# only PACKAGE PATTERN...: every file of the package matches one of the shell patterns,
# and each pattern matches a file.
only() {
  package=$1
  shift
  files "$package" >"$tmp/files"
  while read -r file; do
    matched=0
    for pattern in "$@"; do
      # shellcheck disable=SC2254
      case $file in $pattern) matched=1 ;; esac
    done
    [ "$matched" -eq 1 ] || failed "$package holds $file"
  done <"$tmp/files"
  for pattern in "$@"; do
    found=0
    while read -r file; do
      # shellcheck disable=SC2254
      case $file in $pattern) found=1 ;; esac
    done <"$tmp/files"
    [ "$found" -eq 1 ] || failed "$package holds nothing matching $pattern"
  done
}
lib=/usr/lib/$multiarch
# doc PACKAGE: the files of its documentation directory that every package has.
doc() {
  echo "/usr/share/doc/$1/copyright /usr/share/doc/$1/changelog.Debian.gz" \
    "/usr/share/doc/$1/changelog.gz"
}
# shellcheck disable=SC2046
{
  only libfk-ik-so1 "$lib/libFk_Ik_so.so.1" "$lib/libFk_Ik_so.so.$version" $(doc libfk-ik-so1)
  only libfk-ik-so-urdf1 "$lib/libFk_Ik_so_urdf.so.1" "$lib/libFk_Ik_so_urdf.so.$version" \
    $(doc libfk-ik-so-urdf1)
  only libfk-ik-so-dev /usr/include/fk_ik_so/robot.h /usr/include/fk_ik_so/fk_ik_so.h \
    /usr/include/fk_ik_so/fk_ik_urdf.h "/usr/include/fk_ik_so/*.h" "$lib/libFk_Ik_so.so" \
    "$lib/libFk_Ik_so_urdf.so" "$lib/cmake/Fk_Ik_so/Fk_Ik_soConfig.cmake" \
    "$lib/cmake/Fk_Ik_so/*.cmake" "$lib/pkgconfig/fk_ik_so.pc" "$lib/pkgconfig/fk_ik_so_urdf.pc" \
    /usr/share/doc/libfk-ik-so-dev/README.md.gz $(doc libfk-ik-so-dev)
  only fkik /usr/bin/fkik /usr/share/man/man1/fkik.1.gz $(doc fkik)
  [ "$python" = 1 ] && only python3-fk-ik /usr/lib/python3/dist-packages/fk_ik/__init__.py \
    "/usr/lib/python3/dist-packages/fk_ik/*.py" \
    "/usr/lib/python3/dist-packages/fk_ik/_fk_ik.cpython-*-$multiarch.so" $(doc python3-fk-ik)
}
files libfk-ik-so-dev | grep simd_trig.h && failed "libfk-ik-so-dev holds simd_trig.h"
# The links: the development package's to the SONAME, the run-time package's to the file.
dpkg-deb -c "$(deb libfk-ik-so-dev)" >"$tmp/dev.list"
grep -q "$lib/libFk_Ik_so.so -> libFk_Ik_so.so.1\$" "$tmp/dev.list" ||
  failed "libfk-ik-so-dev: libFk_Ik_so.so does not point to libFk_Ik_so.so.1"
dpkg-deb -c "$(deb libfk-ik-so1)" >"$tmp/lib.list"
grep -q "libFk_Ik_so.so.1 -> libFk_Ik_so.so.$version\$" "$tmp/lib.list" ||
  failed "libfk-ik-so1: libFk_Ik_so.so.1 does not point to libFk_Ik_so.so.$version"

# has PACKAGE FIELD TEXT...: the control field holds each text.
has() {
  package=$1
  field=$2
  shift 2
  value=$(dpkg-deb -f "$(deb "$package")" "$field")
  for text in "$@"; do
    case $value in *"$text"*) ;; *) failed "$package $field: no '$text' in '$value'" ;; esac
  done
}
has libfk-ik-so1 Section libs
has libfk-ik-so1 Depends liborocos-kdl libstdc++6 libc6
has libfk-ik-so1 Multi-Arch same
# A user of the library installs neither Python nor a development package.
case $(dpkg-deb -f "$(deb libfk-ik-so1)" Depends) in
  *python* | *-dev*) failed "libfk-ik-so1 depends on Python or a development package" ;;
esac
has libfk-ik-so-urdf1 Depends "libfk-ik-so1 (>= $version)" liburdfdom-model
has libfk-ik-so-dev Section libdevel
has libfk-ik-so-dev Depends "libfk-ik-so1 (= $version-1)" "libfk-ik-so-urdf1 (= $version-1)" \
  liborocos-kdl-dev libeigen3-dev
has fkik Depends "libfk-ik-so1 (>= $version)" libstdc++6
has fkik Recommends "libfk-ik-so-urdf1 (>= $version)"
if [ "$python" = 1 ]; then
  python_version=$(/usr/bin/python3 -c 'import sys; print("%d.%d" % sys.version_info[:2])')
  next_python=${python_version%.*}.$((${python_version#*.} + 1))
  has python3-fk-ik Depends "python3 (>= $python_version~)" "python3 (<< $next_python)" \
    python3-numpy "libfk-ik-so1 (>= $version)" "libfk-ik-so-urdf1 (>= $version)"
fi
# Programs built against this version run with any later 1.x.
for pair in "libfk-ik-so1 libFk_Ik_so" "libfk-ik-so-urdf1 libFk_Ik_so_urdf"; do
  set -- $pair
  shlibs=$(dpkg-deb -I "$(deb "$1")" shlibs)
  [ "$shlibs" = "$2 1 $1 (>= $version)" ] || failed "$1 shlibs: '$shlibs'"
  dpkg-deb -I "$(deb "$1")" triggers | grep -q "activate-noawait ldconfig" ||
    failed "$1: no ldconfig trigger"
done

if command -v lintian >/dev/null 2>&1; then
  lintian --fail-on error "$debs"/*.deb >"$tmp/lintian.log" 2>&1 || failed "lintian reports errors"
  grep -v 'running with root privileges' "$tmp/lintian.log"
else
  failed "lintian is not installed (scripts/install-deps test installs it)"
fi

# 3. The packages unpacked together.
root="$tmp/unpacked root"
for package in $names; do
  dpkg -x "$(deb "$package")" "$root"
done
for package in $names; do
  copyright="$root/usr/share/doc/$package/copyright"
  format=https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
  [ "$(head -1 "$copyright")" = "Format: $format" ] &&
    grep -q '^License: Apache-2.0$' "$copyright" || failed "$package: no machine-readable copyright"
  gzip -dc "$root/usr/share/doc/$package/changelog.Debian.gz" | head -1 |
    grep -q "^fk-ik-so ($version-1) " || failed "$package: changelog.Debian.gz not of $version-1"
done
rootlib="$root$lib"
# The packages' own library, under Debian's flags, exports the list too.
sh "$(dirname "$0")/exported_symbols.sh" "$rootlib/libFk_Ik_so.so.1" \
  "$(dirname "$0")/exported_symbols.txt" FK_IK_SO_1 >"$tmp/symbols.log" ||
  { failed "the packaged library's exports"; cat "$tmp/symbols.log"; }
same_pose "fkik of the packages" \
  "pose $("$root/usr/bin/fkik" fk $q | awk '$1 == "tcp" { $1 = ""; print }')"
examples_against packages "$root/usr" "$rootlib"
if [ "$python" = 1 ]; then
  # The module finds the packages' libraries through its run path, relative to itself.
  out=$(cd "$tmp" && PYTHONPATH="$root/usr/lib/python3/dist-packages" /usr/bin/python3 -B -c '
import sys
import fk_ik
q = [float(v) for v in sys.argv[2].split()]
loaded = {line.split(None, 5)[-1].strip() for line in open("/proc/self/maps")
          if "libFk_Ik_so" in line}
assert fk_ik.__file__.startswith(sys.argv[1]), fk_ik.__file__
assert loaded and all(path.startswith(sys.argv[1]) for path in loaded), loaded
print("pose", *("%.9f" % v for v in fk_ik.Robot(fk_ik.SAMPLE_ARM).fk(q)))
' "$root" "$q" 2>&1) || failed "python3-fk-ik: $out"
  same_pose "python3-fk-ik" "$out"
fi

# 4. The next minor version of the library (1.2.0 after 1.1.0), and programs linked against
# the packages.
minor=${version#*.}
minor=${minor%%.*}
next=${version%%.*}.$((minor + 1)).0
newer="$tmp/version $next"
if run "$tmp/newer.log" cmake -S "$source_dir" -B "$newer" -DCMAKE_BUILD_TYPE=Release \
  -DFK_IK_VERSION="$next" -DFK_IK_BUILD_TESTS=OFF -DFK_IK_BUILD_TOOLS=OFF &&
  run "$tmp/newer-build.log" cmake --build "$newer" --target Fk_Ik_so -j 2; then
  newlib=$(dirname "$(find "$newer" -name "libFk_Ik_so.so.$next")")
  objdump -p "$newlib/libFk_Ik_so.so.$next" | grep -q "SONAME *libFk_Ik_so.so.1\$" ||
    failed "version $next: no SONAME libFk_Ik_so.so.1"
  for program in c_host_linked robot_jacobian; do
    binary="$tmp/examples packages/$program"
    objdump -T "$binary" | grep -q 'FK_IK_SO_1' ||
      failed "$program: no reference to the symbol version FK_IK_SO_1"
    loaded=$(LD_LIBRARY_PATH="$newlib:$rootlib" LD_TRACE_LOADED_OBJECTS=1 "$binary" |
      sed -n 's/^[[:space:]]*libFk_Ik_so\.so\.1 => \(.*\) (0x[0-9a-f]*)$/\1/p')
    [ "$(readlink -f "$loaded")" = "$(readlink -f "$newlib/libFk_Ik_so.so.$next")" ] ||
      failed "$program: loads '$loaded', not version $next"
    out=$(LD_LIBRARY_PATH="$newlib:$rootlib" "$binary" $q) || failed "$program with $next: $out"
    same_pose "$program, linked against $version, run with $next" "$out"
  done
fi

[ "$failures" -eq 0 ] &&
  echo "installed, packaged, used and run with a later minor version: every pose is fkik's" &&
  exit 0
echo "$failures failed"
exit 1
