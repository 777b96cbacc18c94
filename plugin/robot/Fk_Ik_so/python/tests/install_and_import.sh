#!/bin/sh
# Installs the build tree $2 with cmake $1 into a fresh prefix whose path holds a space,
# then imports fk_ik with the interpreter $3 from <prefix>/$4 alone, and checks that the
# module and the library it loaded are the installed ones, not the build tree's.
set -eu
cmake=$1
build=$2
python=$3
site=$4
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
prefix="$tmp/a prefix"
"$cmake" --install "$build" --prefix "$prefix" >/dev/null
cd "$tmp"
PYTHONPATH="$prefix/$site" "$python" -B -c '
import sys
import fk_ik
prefix = sys.argv[1]
libraries = {line.split(None, 5)[-1].strip() for line in open("/proc/self/maps") if "libFk_Ik_so" in line}
assert fk_ik.__file__.startswith(prefix), fk_ik.__file__
assert libraries and all(path.startswith(prefix) for path in libraries), libraries
robot = fk_ik.Robot(fk_ik.SAMPLE_ARM)
q = [0.3, -1.2, 1.5, -0.4, 1.1, 0.2]
code, joints = robot.ik(robot.fk(q), q)
assert code == fk_ik.Code.SOLVED and max(abs(joints - q)) < 1e-9, (code, joints)
print("fk_ik imported from", fk_ik.__file__)
' "$prefix"
