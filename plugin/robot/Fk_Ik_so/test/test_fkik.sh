#!/bin/sh
# fkik end to end on the built library: fk's pose fed to ik comes back as the joints,
# --deg and --arm agree with the defaults, a pose out of reach reports its code, and the
# demo solves every case.
# Usage: test_fkik.sh PATH_TO_FKIK
set -u
fkik=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

failed() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}

# Largest absolute difference between two lists of numbers.
difference() {
  echo "$1 | $2" | awk -F'|' '{
    n = split($1, a, " "); split($2, b, " "); d = 0
    for (i = 1; i <= n; ++i) { e = a[i] - b[i]; if (e < 0) e = -e; if (e > d) d = e }
    print d }'
}

# within LIMIT VALUE: VALUE <= LIMIT.
within() { awk -v l="$1" -v v="$2" 'BEGIN { exit !(v <= l) }'; }

q="0.5 -0.8 1.2 0.7 -0.9 1.0"
tool="0.01 -0.02 0.15 0.1 -0.2 0.3"
pose=$("$fkik" fk $q --tool $tool | awk '$1 == "tcp" { $1 = ""; print }')
[ -n "$pose" ] || failed "fk printed no tcp line"

out=$("$fkik" ik $pose --ref $q --tool $tool)
[ $? -eq 0 ] || failed "ik of fk's pose: exit status not 0"
echo "$out" | grep -q "^result 0: solved$" || failed "ik of fk's pose: $out"
back=$(echo "$out" | awk '$1 == "joints" { $1 = ""; print }')
within 1e-7 "$(difference "$back" "$q")" || failed "ik gave $back for $q"

# The same call in degrees: the same pose, angles scaled.
qdeg=$(echo "$q" | awk '{ for (i = 1; i <= 6; ++i) printf "%.12f ", $i * 45 / atan2(1, 1) }')
tooldeg=$(echo "$tool" | awk '{ for (i = 4; i <= 6; ++i) $i = sprintf("%.12f", $i * 45 / atan2(1, 1)); print }')
posedeg=$("$fkik" --deg fk $qdeg --tool $tooldeg | awk '$1 == "tcp" { $1 = ""; print }')
expected=$(echo "$pose" | awk '{ for (i = 4; i <= 6; ++i) $i = $i * 45 / atan2(1, 1); print }')
within 1e-6 "$(difference "$posedeg" "$expected")" || failed "--deg fk gave $posedeg, expected $expected"

# The built-in arm written to a file, with a comment and commas.
cat >"$dir/arm" <<'ARM'
# a, alpha, d, theta
0, 0, 0.1625, 0
0, -1.5707963267948966, 0, 0
0.425, 0, 0, 0
0.3922, 3.141592653589793, 0.1333, 0   # forearm
0, 1.5707963267948966, 0.0997, 0
0, 1.5707963267948966, 0.0996, 0
ARM
filepose=$("$fkik" --arm "$dir/arm" fk $q --tool $tool | awk '$1 == "tcp" { $1 = ""; print }')
[ "$filepose" = "$pose" ] || failed "--arm with the built-in arm gave $filepose, not $pose"

out=$("$fkik" ik 2 0.5 0.3 0 0 0 --ref $q)
[ $? -eq 3 ] || failed "ik out of reach: exit status not 3"
echo "$out" | grep -q "^result 7: no solution" || failed "ik out of reach: $out"

out=$("$fkik" demo)
[ $? -eq 0 ] || failed "demo: exit status not 0"
[ "$(echo "$out" | grep -c "^result 0 (solved)")" -eq 6 ] || failed "demo: not every case solved"
echo "$out" | grep -q "tcpPosToJntPos (inverse)" || failed "demo: no timing"

[ "$failures" -eq 0 ] && echo "fkik works end to end" && exit 0
echo "$failures failed"
exit 1
