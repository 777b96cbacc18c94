#!/bin/sh
# The Debian packages of a build tree configured for Debian's layout and flags
# (scripts/build-debs; cmake --build <build> --target deb), split as a Debian maintainer
# splits a library's source:
#   libfk-ik-so<major>       the run-time library libFk_Ik_so.so.<major>, named after its
#                            SONAME, so that two major versions install side by side;
#   libfk-ik-so-urdf<major>  the URDF reader libFk_Ik_so_urdf.so.<major>: a package of its
#                            own, so that a user of the main library installs no XML parser;
#   libfk-ik-so-dev          the headers, the unversioned links, the CMake package and the
#                            pkg-config files, for exactly the run-time packages' version;
#   fkik                     the command-line host: a program's path carries no SONAME, so
#                            in the run-time package it would keep the packages of two major
#                            versions from being installed together, and a program linked to
#                            the library needs no command-line tool;
#   python3-fk-ik            the Python module, where the tree builds it.
# Each has /usr/share/doc/<package>/ with the machine-readable copyright file, the
# changelog.Debian.gz of the packaging and the upstream changelog.gz. The run-time packages'
# shlibs files let a program built against version V run with any later version of the same
# major version (>= V), as the library's symbols stay in one version node per major version.
#
# The tree is installed into a staging directory and every file moved into its package; a
# rule that finds no file, a file that no rule takes, or a missing tool stops the script
# with its name.
# Usage: make-packages.sh BUILD_DIR   (the packages are written to BUILD_DIR/debs)
# shellcheck disable=SC2154  # the settings' variables come from the build tree
set -eu
build=$(cd "$1" && pwd)
# What the tree installs, and where (written at configure time by cmake/packaging.cmake).
# shellcheck disable=SC1091
. "$build/debian/settings.sh"
die() {
  echo "make-packages: $*" >&2
  exit 1
}

# The tools, each with the Debian package that has it.
for tool in dpkg-deb:dpkg dpkg-shlibdeps:dpkg-dev dpkg-architecture:dpkg-dev gzip:gzip \
  strip:binutils md5sum:coreutils; do
  command -v "${tool%%:*}" >/dev/null 2>&1 ||
    die "${tool%%:*} not found (Debian package ${tool#*:})"
done
[ "$prefix" = /usr ] ||
  die "the tree installs into $prefix, not /usr (scripts/build-debs configures it for /usr)"
multiarch_libdir=lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)
[ "$libdir" = "$multiarch_libdir" ] ||
  die "the tree's library directory is $libdir, not Debian's $multiarch_libdir"
arch=$(dpkg-architecture -qDEB_HOST_ARCH)
deb_version=$version-$revision
lib=libfk-ik-so$major
urdf=libfk-ik-so-urdf$major
dev=libfk-ik-so-dev
packages="$lib $urdf $dev"
[ -n "$fkik" ] && packages="$packages fkik"
[ -n "$python_version" ] && packages="$packages python3-fk-ik"

work=$build/debian
rm -rf "$work/stage" "$work/packages" "$work/shlibdeps" "$build/debs"
mkdir -p "$work/stage" "$work/packages" "$work/shlibdeps/debian" "$build/debs"
DESTDIR="$work/stage" "$cmake_command" --install "$build" >"$work/install.log" 2>&1 ||
  { cat "$work/install.log" >&2 && die "cmake --install $build failed"; }
stage=$work/stage/usr

# take PACKAGE PATTERN...: moves what each shell pattern (relative to /usr) matches from the
# staging tree into the package's tree.
take() {
  package=$1
  shift
  for pattern in "$@"; do
    found=0
    for path in "$stage"/$pattern; do
      [ -e "$path" ] || [ -L "$path" ] || continue
      relative=${path#"$stage"/}
      mkdir -p "$work/packages/$package/usr/$(dirname "$relative")"
      mv "$path" "$work/packages/$package/usr/$relative"
      found=1
    done
    [ "$found" -eq 1 ] || die "$package: nothing installed matches /usr/$pattern"
  done
}
take "$lib" "$libdir/libFk_Ik_so.so.$major" "$libdir/libFk_Ik_so.so.$version"
take "$urdf" "$libdir/libFk_Ik_so_urdf.so.$major" "$libdir/libFk_Ik_so_urdf.so.$version"
take "$dev" "$includedir/fk_ik_so" "$libdir/libFk_Ik_so.so" "$libdir/libFk_Ik_so_urdf.so" \
  "$libdir/cmake/Fk_Ik_so" "$libdir/pkgconfig/fk_ik_so.pc" "$libdir/pkgconfig/fk_ik_so_urdf.pc"
[ -n "$fkik" ] && take fkik "$bindir/fkik"
[ -n "$python_version" ] && take python3-fk-ik "$python_dir/fk_ik"
# The README goes to the development package (compressed, as Debian keeps documents larger
# than 4 kB); the licence is the copyright file's; the changelog goes into every package.
mkdir -p "$work/packages/$dev/usr/share/doc/$dev"
gzip -9n <"$stage/$docdir/README.md" >"$work/packages/$dev/usr/share/doc/$dev/README.md.gz"
for file in README.md LICENSE CHANGELOG.md; do
  [ -f "$stage/$docdir/$file" ] || die "/usr/$docdir/$file was not installed"
done
mv "$stage/$docdir/CHANGELOG.md" "$work/changelog.md"
rm "$stage/$docdir/README.md" "$stage/$docdir/LICENSE"
left=$(find "$work/stage" ! -type d)
[ -z "$left" ] || die "installed, but in no package:
$left"

# The packaging's own changelog entry: this version, built from the upstream release.
changelog_date=$(date -u -R -d "@${SOURCE_DATE_EPOCH:-$(date +%s)}")
changelog_debian() {
  printf 'fk-ik-so (%s) unstable; urgency=medium\n\n' "$deb_version"
  printf '  * Packages of libFk_Ik_so %s; its changes are in changelog.gz.\n\n' "$version"
  printf ' -- %s  %s\n' "$maintainer" "$changelog_date"
}

# fkik's manual page: its --help text.
fkik_manual() {
  printf '.TH FKIK 1 "" "fkik %s" "User Commands"\n.SH NAME\n' "$version"
  printf 'fkik \\- forward and inverse kinematics of a six\\-joint arm\n.SH DESCRIPTION\n.nf\n'
  "$1" --help | sed 's/\\/\\e/g; s/-/\\-/g; s/^[.'\'']/\\\&&/'
  printf '.fi\n.SH SEE ALSO\n'
  printf 'The README of the library, /usr/share/doc/%s/README.md.gz.\n' "$dev"
}

is_elf() {
  [ "$(head -c 4 "$1" | od -An -tx1 | tr -d ' \n')" = 7f454c46 ]
}

# Files, modes, stripped binaries, documents and run-time package files of each package.
for package in $packages; do
  tree=$work/packages/$package
  doc=$tree/usr/share/doc/$package
  mkdir -p "$doc" "$tree/DEBIAN"
  cp "$source_dir/cmake/debian/copyright" "$doc/copyright"
  gzip -9n <"$work/changelog.md" >"$doc/changelog.gz"
  changelog_debian | gzip -9n >"$doc/changelog.Debian.gz"
  if [ "$package" = fkik ]; then
    mkdir -p "$tree/usr/share/man/man1"
    fkik_manual "$tree/usr/bin/fkik" | gzip -9n >"$tree/usr/share/man/man1/fkik.1.gz"
  fi
  find "$tree" -type d -exec chmod 0755 {} +
  find "$tree" -type f -exec chmod 0644 {} +
  find "$tree/usr" -type f | while read -r file; do
    is_elf "$file" || continue
    case $file in
      "$tree/usr/bin/"*)
        strip --remove-section=.comment --remove-section=.note "$file"
        chmod 0755 "$file"
        ;;
      *) strip --remove-section=.comment --remove-section=.note --strip-unneeded "$file" ;;
    esac
  done || die "$package: strip failed"
done
printf 'libFk_Ik_so %s %s (>= %s)\n' "$major" "$lib" "$version" >"$work/packages/$lib/DEBIAN/shlibs"
printf 'libFk_Ik_so_urdf %s %s (>= %s)\n' "$major" "$urdf" "$version" \
  >"$work/packages/$urdf/DEBIAN/shlibs"
for package in "$lib" "$urdf"; do
  echo "activate-noawait ldconfig" >"$work/packages/$package/DEBIAN/triggers"
done

# shlibdeps PACKAGE: the run-time dependencies of its binaries, as dpkg-shlibdeps finds them
# (the run-time packages built here through their shlibs files).
printf 'Source: fk-ik-so\n' >"$work/shlibdeps/debian/control"
for package in $packages; do
  printf '\nPackage: %s\nArchitecture: any\n' "$package" >>"$work/shlibdeps/debian/control"
done
shlibdeps() {
  find "$work/packages/$1/usr" -type f | while read -r file; do
    if is_elf "$file"; then echo "$file"; fi
  done >"$work/shlibdeps/$1.files"
  [ -s "$work/shlibdeps/$1.files" ] || return 0
  # The file names are paths in the build tree: a line each, no line feed in them.
  (cd "$work/shlibdeps" && tr '\n' '\0' <"$1.files" |
    xargs -0 dpkg-shlibdeps -O -S"$work/packages/$lib" -S"$work/packages/$urdf" 2>"$1.log") \
    >"$work/shlibdeps/$1.substvars" ||
    { cat "$work/shlibdeps/$1.log" >&2 && die "$1: dpkg-shlibdeps failed"; }
  sed -n 's/^shlibs:Depends=//p' "$work/shlibdeps/$1.substvars"
}

# control PACKAGE SECTION MULTI-ARCH DEPENDS SYNOPSIS [FIELD-LINES]: the control file; the
# extended description comes on standard input.
control() {
  tree=$work/packages/$1
  {
    echo "Package: $1"
    echo "Source: fk-ik-so"
    echo "Version: $deb_version"
    echo "Architecture: $arch"
    echo "Maintainer: $maintainer"
    echo "Installed-Size: $(du -k -s --exclude=DEBIAN "$tree" | cut -f1)"
    echo "Depends: $4"
    [ -z "${6:-}" ] || printf '%s\n' "$6"
    echo "Section: $2"
    echo "Priority: optional"
    [ "$3" = no ] || echo "Multi-Arch: $3"
    echo "Description: $5"
    cat
  } >"$tree/DEBIAN/control"
  (cd "$tree" && find usr -type f -print0 | LC_ALL=C sort -z | xargs -0 md5sum) \
    >"$tree/DEBIAN/md5sums"
  chmod 0644 "$tree/DEBIAN"/*
  dpkg-deb --root-owner-group -Zxz --build "$tree" "$build/debs/${1}_${deb_version}_$arch.deb" \
    >/dev/null || die "$1: dpkg-deb failed"
}

about=" libFk_Ik_so computes the pose of the tool centre point of a six-joint
 revolute arm from its joint positions, and the joint positions of a pose:
 every solution, in closed form where the arm's layout allows and by
 elimination for any other arm. Arms come from
 modified or standard Denavit-Hartenberg rows or from URDF; frames and
 vectors are KDL's."

control "$lib" libs same "$(shlibdeps "$lib")" \
  "kinematics of six-joint robot arms - shared library" <<EOF
$about
 .
 This package holds the run-time library, libFk_Ik_so.so.$major.
EOF

control "$urdf" libs same "$(shlibdeps "$urdf")" \
  "kinematics of six-joint robot arms - URDF reader" <<EOF
$about
 .
 This package holds libFk_Ik_so_urdf.so.$major, which reads an arm from a URDF
 file with urdfdom. It is a library of its own, so that the programs that do
 not read URDF need no XML parser.
EOF

control "$dev" libdevel same \
  "$lib (= $deb_version), $urdf (= $deb_version), liborocos-kdl-dev, libeigen3-dev" \
  "kinematics of six-joint robot arms - development files" <<EOF
$about
 .
 This package holds the C and C++ headers (include/fk_ik_so/), the links
 libFk_Ik_so.so and libFk_Ik_so_urdf.so, the CMake package Fk_Ik_so (targets
 Fk_Ik_so::Fk_Ik_so and Fk_Ik_so::Fk_Ik_so_urdf) and the pkg-config files
 fk_ik_so and fk_ik_so_urdf.
EOF

# fkik loads the libraries at run time (dlopen), which dpkg-shlibdeps cannot see; the URDF
# reader only for --urdf.
if [ -n "$fkik" ]; then
  control fkik science foreign "$(shlibdeps fkik), $lib (>= $version)" \
    "kinematics of six-joint robot arms - command-line host" \
    "Recommends: $urdf (>= $version)" <<EOF
$about
 .
 This package holds fkik, which prints the forward and inverse kinematics of
 the built-in sample arm, or of an arm read from DH rows or a URDF file, for
 joint positions or poses given on its command line or in batches.
EOF
fi

# The module is built for one interpreter version: Debian's python3 range for it.
if [ -n "$python_version" ]; then
  next_python=${python_version%.*}.$((${python_version#*.} + 1))
  python_depends="python3 (>= $python_version~), python3 (<< $next_python), python3-numpy"
  control python3-fk-ik python no "$(shlibdeps python3-fk-ik), $python_depends" \
    "kinematics of six-joint robot arms - Python 3 module" \
    "Suggests: python3-matplotlib" <<EOF
$about
 .
 This package holds the Python 3 module fk_ik: the library's arms with numpy
 arrays, and fk_ik.reach, the map of the poses an arm reaches, which draws
 with matplotlib.
EOF
fi

echo "make-packages: $(echo "$packages" | wc -w) packages of version $deb_version in $build/debs"
