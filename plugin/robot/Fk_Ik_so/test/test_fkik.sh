#!/bin/sh
# fkik from the command line. Every bad input gets one line on stderr, starting "fkik: "
# and naming what was wrong, nothing on stdout and a non-zero exit status (2 bad input,
# 1 library). On the built library: fk's pose fed to ik gives joints that reach it, --deg
# and --arm agree with the defaults, a pose out of reach reports its code, and the demo
# solves every case; then each option of the other inverses, formats and batches; then
# arms of any six revolute joints (--arm with --signs, --dh, --urdf), fkik arm, and ik of
# those arms through their handles.
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

# expect STATUS MESSAGE_PART ARGS...
expect() {
  status=$1 part=$2
  shift 2
  "$fkik" "$@" >"$dir/out" 2>"$dir/err"
  got=$?
  lines=$(wc -l <"$dir/err")
  if [ "$got" -ne "$status" ] || [ "$lines" -ne 1 ] || [ -s "$dir/out" ] ||
    ! grep -q "^fkik: " "$dir/err" || ! grep -qF -- "$part" "$dir/err"; then
    failed "fkik $*: expected status $status and one line with: $part;" \
      "got status $got, stdout $(wc -c <"$dir/out") bytes, stderr: $(cat "$dir/err")"
  fi
}

zeros="0 0 0 0 0 0"

# Commands and options.
expect 2 "no command given" --deg
expect 2 "unknown command 'fx'" fx $zeros
expect 2 "unknown command '1'" 1 2 3 4 5 6
expect 2 "unknown option '--tol'" fk $zeros --tol $zeros
expect 2 "--arm needs a file name" demo --arm
expect 2 "--lib needs a file name" demo --lib
expect 2 "ik needs --ref" ik $zeros
expect 2 "--ref belongs to ik only" fk $zeros --ref $zeros

# Wrong counts of numbers.
expect 2 "fk takes 6 joint positions, got 5" fk 0 0 0 0 0
expect 2 "fk takes 6 joint positions, got 7" fk 0 0 0 0 0 0 0
expect 2 "ik takes 6 pose values (X Y Z ROLL PITCH YAW), got 3" ik 0.5 0 0.2 --ref $zeros
expect 2 "demo takes 0 numbers, got 1" demo 5
expect 2 "--tool takes 6 numbers, got 3" fk $zeros --tool 0 0 0.1
expect 2 "--tool takes 6 numbers, got 2" fk $zeros --tool 0 0 --deg
expect 2 "--ref takes 6 numbers, got 0" ik $zeros --ref
expect 2 "fk - takes 0 joint positions, got 6" fk - $zeros
expect 2 "--mode needs a mode" ik $zeros --ref $zeros --mode
expect 2 "'1.5' is not an integer (--mode)" ik $zeros --ref $zeros --mode 1.5
expect 2 "--mode, --all and --nearest belong to ik only" fk $zeros --all
expect 2 "--mode, --all and --nearest exclude each other" ik $zeros --ref $zeros --all --nearest
expect 2 "--limits belongs to ik --nearest" ik $zeros --ref $zeros --limits "$dir/none"
expect 2 "unknown format 'xml' (expected text, json or csv)" --format xml fk $zeros
expect 2 "--format needs a format" fk $zeros --format
expect 2 "--arm-deg needs --arm FILE" --arm-deg fk $zeros
expect 2 "--header belongs to batches (fk -, ik -)" fk $zeros --header
expect 2 "demo takes no batch and writes text only" --format json demo
expect 2 "cannot read input file '$dir/none'" fk --input "$dir/none"
expect 2 "cannot read limits file '$dir/none'" ik $zeros --ref $zeros --nearest --limits "$dir/none"
printf '0 1\n0 1 2\n' >"$dir/limits3"
expect 2 "limits file '$dir/limits3' line 2: expected 2 values (lower upper), got 3" \
  ik $zeros --ref $zeros --nearest --limits "$dir/limits3"

# Words where numbers belong, and numbers that are not finite.
expect 2 "'abc' is not a number (Q3)" fk 0 0 abc 0 0 0
expect 2 "'1.5x' is not a number (PITCH)" ik 0.5 0 0.2 0 1.5x 0 --ref $zeros
expect 2 "'z' is not a number (--tool RX)" fk $zeros --tool 0 0 0 z 0 0
expect 2 "'' is not a number (--ref Q6)" ik $zeros --ref 0 0 0 0 0 ""
expect 2 "'nan' is not a finite number (Q1)" fk nan 0 0 0 0 0
expect 2 "'1e999' is not a finite number (X)" ik 1e999 0 0 0 0 0 --ref $zeros

# Arm files: unreadable, short, malformed.
expect 2 "cannot read arm file '$dir/none': No such file or directory" --arm "$dir/none" demo
expect 2 "cannot read arm file '$dir': Is a directory" --arm "$dir" demo
printf '# a alpha d theta\n0 0 0.1625 0\n0 -1.5707963 0 0\n\n0.425 0 0 0\n' >"$dir/short"
expect 2 "arm file '$dir/short' has 3 joint rows, expected 6" --arm "$dir/short" demo
: >"$dir/empty"
expect 2 "arm file '$dir/empty' has 0 joint rows, expected 6" --arm "$dir/empty" demo
printf '0 0 0.1625 0\n0 -1.57 0\n' >"$dir/row"
expect 2 "arm file '$dir/row' line 2: expected 4 values (a alpha d theta), got 3" --arm "$dir/row" demo
printf '0 0 0.1625 0\n0 -1.57 0 0\n0.425 0 zero 0\n' >"$dir/word"
expect 2 "'zero' is not a number (arm file '$dir/word' line 3)" --arm "$dir/word" demo
for i in 1 2 3 4 5 6 7; do echo "0 0 0 0"; done >"$dir/long"
expect 2 "arm file '$dir/long' line 7: more than 6 joint rows" --arm "$dir/long" demo

# A missing library, and one without the library's functions.
expect 1 "cannot load library: $dir/libnone.so: cannot open shared object file" \
  --lib "$dir/libnone.so" fk $zeros
expect 1 "has no function 'init'" --lib libm.so.6 fk $zeros

# End to end.
q="0.5 -0.8 1.2 0.7 -0.9 1.0"
tool="0.01 -0.02 0.15 0.1 -0.2 0.3"
pose=$("$fkik" fk $q --tool $tool | awk '$1 == "tcp" { $1 = ""; print }')
[ -n "$pose" ] || failed "fk printed no tcp line"

out=$("$fkik" ik $pose --ref $q --tool $tool)
[ $? -eq 0 ] || failed "ik of fk's pose: exit status not 0"
echo "$out" | grep -q "^result 0: solved$" || failed "ik of fk's pose: $out"
back=$(echo "$out" | awk '$1 == "joints" { $1 = ""; print }')
again=$("$fkik" fk $back --tool $tool | awk '$1 == "tcp" { $1 = ""; print }')
within 1e-7 "$(difference "$again" "$pose")" || failed "ik gave $back, which reaches $again"

# The same call in degrees: the same pose, angles scaled.
degrees='{ for (i = 1; i <= NF; ++i) $i = sprintf("%.12f", i > first ? $i * 45 / atan2(1, 1) : $i); print }'
posedeg=$("$fkik" --deg fk $(echo "$q" | awk -v first=0 "$degrees") \
  --tool $(echo "$tool" | awk -v first=3 "$degrees") | awk '$1 == "tcp" { $1 = ""; print }')
expected=$(echo "$pose" | awk -v first=3 "$degrees")
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

# A subnormal number is a finite value like any other.
"$fkik" fk 1e-310 0 0 0 0 0 >/dev/null 2>&1 || failed "fk refused a subnormal joint value"

out=$("$fkik" ik 2 0.5 0.3 0 0 0 --ref $q)
[ $? -eq 17 ] || failed "ik out of reach: exit status not 10 + 7"
echo "$out" | grep -q "^result 7: no solution" || failed "ik out of reach: $out"

out=$("$fkik" demo)
[ $? -eq 0 ] || failed "demo: exit status not 0"
[ "$(echo "$out" | grep -c "^result 0 (solved)")" -eq 6 ] || failed "demo: not every case solved"
echo "$out" | grep -q "tcpPosToJntPos (inverse)" || failed "demo: no timing"

# The other inverses, formats and batches, on the pose of $q with $tool. check STATUS
# PATTERN ARGS...: exit status and a line of stdout matching the extended regex PATTERN.
check() {
  status=$1 pattern=$2
  shift 2
  "$fkik" "$@" >"$dir/out" 2>"$dir/err"
  got=$?
  [ "$got" -eq "$status" ] && grep -Eq -- "$pattern" "$dir/out" ||
    failed "fkik $*: expected status $status and /$pattern/; got $got: $(cat "$dir/out" "$dir/err")"
}
# The joints of the first csv answer line (result,q1...q6,residual) in $dir/out.
csvjoints() { awk -F, '$1 == "0" { print $2, $3, $4, $5, $6, $7; exit }' "$dir/out"; }
ik="ik $pose --ref $q --tool $tool"
near=$(echo "$q" | awk '{ for (i = 1; i <= NF; ++i) $i += 0.05; print }')
far=$(echo "$q" | awk '{ for (i = 1; i <= NF; ++i) $i += 2; print }')
printf 'inf -inf\n' >"$dir/inverted"
for i in 1 2 3 4 5; do echo "-inf inf"; done >>"$dir/inverted"
sed 's/^-inf inf$/-10 10/' "$dir/inverted" | sed '1s/.*/-0.1 0.1/' >"$dir/tight"

check 0 '^fkik [0-9]+[.][0-9]+[.][0-9]+$' --version
check 0 '^residual [0-9.]+e-1[0-9]$' $ik
check 0 '^result 0: solved$' $ik --mode -1
check 15 '^result 5: invalid configuration mode$' $ik --mode 9
check 0 '^7 +[0-7] solved ' $ik --all
[ "$(grep -c ' solved ' "$dir/out")" -eq 8 ] || failed "ik --all: not eight solved candidates"
check 0 '^result 0: solved$' ik $pose --ref $near --tool $tool --nearest
check 0 '^0,' --format csv ik $pose --ref $near --tool $tool --nearest
within 1e-9 "$(difference "$(csvjoints)" "$q")" || failed "--nearest from $near gave $(csvjoints)"
check 18 '^result 8: invalid joint limits$' $ik --nearest --limits "$dir/inverted"
check 17 '^result 7: no solution' ik $pose --ref $far --tool $tool --nearest --limits "$dir/tight"
check 0 '^\{"result": 0, "meaning": "solved", "joints": \[.*\], "residual": [0-9.e-]+\}$' \
  --format json $ik
check 0 '"candidates": \[\{"mode": [0-7], "status": 0, ' --format json $ik --all

# json and csv keep every bit: fk's pose, its csv read back as a batch (the header is a
# comment), gives back the joints to rounding, not to 1e-9.
check 0 '^# x,y,z,roll,pitch,yaw$' --format csv fk $q --tool $tool
cp "$dir/out" "$dir/pose.csv"
check 0 '^0,' --format csv ik --input "$dir/pose.csv" --ref $q --tool $tool
[ "$(wc -l <"$dir/out")" -eq 2 ] || failed "csv read back: not a header and one answer"
within 1e-13 "$(difference "$(csvjoints)" "$q")" || failed "csv round trip gave $(csvjoints)"

# Batches: one row per request line, in order. A malformed line, the first or a later
# one, gets an error row in its place, and the rows around it are those of the same batch
# with that line blank; a first line is no header unless --header says so. Each case:
# format, input, the malformed line, its row, the lines of output, the error row.
printf '0.1 0.2 x" 0.4 0.5 0.6\n%s\n\n# comment\n%s\n' "$q" "$near" >"$dir/first"
printf '%s\n# comment\n\n1 2 3\n%s\n' "$q" "$near" >"$dir/middle"
printf 'q1,q2,q3,q4,q5,q6\n%s\n%s\n' "$q" "$near" >"$dir/named"
while read -r format input line row lines error; do
  sed "${line}s/.*//" "$dir/$input" | "$fkik" --format "$format" fk - --tool $tool >"$dir/clean"
  error=$error awk -v row="$row" '!/^#/ && ++n == row { print ENVIRON["error"] } { print }' \
    "$dir/clean" >"$dir/expected"
  "$fkik" --format "$format" fk - --tool $tool <"$dir/$input" >"$dir/out" 2>"$dir/err"
  got=$?
  [ "$got" -eq 2 ] && [ "$(wc -l <"$dir/out")" -eq "$lines" ] && cmp -s "$dir/out" "$dir/expected" &&
    [ "$(wc -l <"$dir/err")" -eq 1 ] && grep -q "^fkik: line $line: " "$dir/err" ||
    failed "fk batch $input in $format: status $got, $(cat "$dir/out" "$dir/err")"
done <<'CASES'
text first  1 1 4 error line 1: 'x"' is not a number (Q3)
csv  first  1 1 4 error,1,"'x""' is not a number (Q3)"
json first  1 1 3 {"line": 1, "error": "'x\"' is not a number (Q3)"}
text middle 4 2 4 error line 4: expected 6 joint positions, got 3
csv  middle 4 2 4 error,4,"expected 6 joint positions, got 3"
json middle 4 2 3 {"line": 4, "error": "expected 6 joint positions, got 3"}
csv  named  1 1 4 error,1,"'q1' is not a number (Q1)"
CASES
sed 1d "$dir/named" | "$fkik" --format csv fk - --tool $tool >"$dir/expected"
"$fkik" --format csv fk - --header --tool $tool <"$dir/named" >"$dir/out" &&
  [ "$(wc -l <"$dir/out")" -eq 3 ] && cmp -s "$dir/out" "$dir/expected" ||
  failed "fk batch --header: $(cat "$dir/out")"

# fk's csv with an error row read back by ik: the row is malformed again, so each row
# still answers its line.
printf '%s\n1 2 3\n%s\n' "$q" "$near" | "$fkik" --format csv fk - --tool $tool >"$dir/poses" 2>/dev/null
"$fkik" --format csv ik --input "$dir/poses" --ref $q --tool $tool >"$dir/out" 2>"$dir/err"
got=$?
[ "$got" -eq 2 ] && [ "$(wc -l <"$dir/out")" -eq 4 ] &&
  [ "$(sed -n 3p "$dir/out")" = "error,3,\"'error' is not a number (X)\"" ] &&
  grep -qx "fkik: input file '$dir/poses' line 3: 'error' is not a number (X)" "$dir/err" ||
  failed "ik batch of fk's csv: status $got, $(cat "$dir/out" "$dir/err")"
joints() { awk -F, -v n="$1" 'NR == n { print $2, $3, $4, $5, $6, $7 }' "$dir/out"; }
within 1e-13 "$(difference "$(joints 2)" "$q")" || failed "ik batch: row 1 is not $q"
within 1e-13 "$(difference "$(joints 4)" "$near")" || failed "ik batch: row 3 is not $near"
printf '2 0.5 0.3 0 0 0\n%s %s\n' "$pose" "$q" | "$fkik" --format json ik - --tool $tool \
  >"$dir/out" 2>"$dir/err"
[ $? -eq 2 ] && [ "$(wc -l <"$dir/out")" -eq 2 ] &&
  grep -qx '{"line": 1, "error": "no reference: give --ref or six more numbers"}' "$dir/out" &&
  grep -q '^{"line": 2, "result": 0' "$dir/out" &&
  grep -qx "fkik: line 1: no reference: give --ref or six more numbers" "$dir/err" ||
  failed "ik batch with a reference per line: $(cat "$dir/out" "$dir/err")"
printf '2 0.5 0.3 0 0 0\n%s\n' "$pose" | "$fkik" ik - --ref $q --tool $tool >"$dir/out"
[ $? -eq 17 ] && [ "$(wc -l <"$dir/out")" -eq 3 ] || failed "ik text batch: $(cat "$dir/out")"

# An arm in degrees: the same arm with --arm-deg. Without it the rows are another arm, not
# of the designed solver's form: fk answers for it (and ik by elimination, see below).
awk '!/^#/ { $2 = $2 * 45 / atan2(1, 1) } { print }' "$dir/arm" | tr -d , >"$dir/armdeg"
check 0 '^tcp' --arm "$dir/armdeg" --arm-deg fk $q --tool $tool
[ ! -s "$dir/err" ] || failed "--arm-deg: $(cat "$dir/err")"
[ "$(awk '$1 == "tcp" { $1 = ""; print }' "$dir/out")" = "$pose" ] || failed "--arm-deg: other pose"
check 0 '^tcp' --arm "$dir/armdeg" fk $q --tool $tool

# Arms of any six revolute joints. One arm with a spherical wrist, joints 2 and 5 turning
# the other way, given by its modified rows with --signs, by the standard rows of the same
# chain (row i: a and alpha of modified row i + 1, d and theta of row i), those in degrees,
# and by a URDF file written from the modified rows: fk gives one pose to 1e-12.
urdf=$(dirname "$0")/urdf/fkik_spherical_wrist.urdf
signs="1 -1 1 1 -1 1"
cat >"$dir/wrist" <<'ARM'
# a alpha d theta
0     0                    0.4   0.3
0.05  -1.5707963267948966  0     0
0.45  0                    0.02  -0.2
0.04  -1.5707963267948966  0.42  0
0     1.5707963267948966   0     0
0     -1.5707963267948966  0.1   0
ARM
cat >"$dir/wrist.dh" <<'DH'
0.05  -1.5707963267948966  0.4   0.3
0.45  0                    0     0
0.04  -1.5707963267948966  0.02  -0.2
0     1.5707963267948966   0.42  0
0     -1.5707963267948966  0     0
0     0                    0.1   0
DH
awk '{ $2 = sprintf("%.17g", $2 * 45 / atan2(1, 1)); $4 = sprintf("%.17g", $4 * 45 / atan2(1, 1)) }
  { print }' "$dir/wrist.dh" >"$dir/wrist.dhdeg"
# csvpose JOINTS ARGS...: the pose fk prints in csv at JOINTS with $tool, space-separated;
# empty unless fk printed one of six values.
csvpose() {
  joints=$1
  shift
  "$fkik" --format csv "$@" fk $joints --tool $tool 2>"$dir/err" |
    awk -F, 'NR == 2 && NF == 6 { gsub(",", " "); print }'
}
byrows=$(csvpose "$q" --arm "$dir/wrist" --signs $signs)
[ -n "$byrows" ] || failed "fk of modified rows with --signs: $(cat "$dir/err")"
while read -r way; do
  other=$(csvpose "$q" $way)
  [ -n "$other" ] && within 1e-12 "$(difference "$other" "$byrows")" ||
    failed "fk $way gave '$other' $(cat "$dir/err"), the modified rows '$byrows'"
done <<WAYS
--dh $dir/wrist.dh --signs $signs
--dh $dir/wrist.dhdeg --arm-deg --signs $signs
--urdf $urdf
--urdf $urdf --base base --tip link6
WAYS
# The senses: the designed functions on the same rows without --signs, at joints 2 and 5
# negated, give that pose too; and a batch gives it in the row of its line.
designed=$(csvpose "$(echo "$q" | awk '{ $2 = -$2; $5 = -$5; print }')" --arm "$dir/wrist")
within 1e-12 "$(difference "$designed" "$byrows")" || failed "--signs: '$byrows', not '$designed'"
printf '%s\n%s\n' "$near" "$q" | "$fkik" --format csv --urdf "$urdf" fk - --tool $tool \
  >"$dir/out" 2>&1
within 1e-12 "$(difference "$(awk -F, 'NR == 3 { gsub(",", " "); print }' "$dir/out")" "$byrows")" ||
  failed "--urdf batch: $(cat "$dir/out")"

# The sample arm in standard rows: the designed functions' pose, a designed chain.
cat >"$dir/sample.dh" <<'DH'
0       -1.5707963267948966  0.1625  0
0.425   0                    0       0
0.3922  3.141592653589793    0       0
0       1.5707963267948966   0.1333  0
0       1.5707963267948966   0.0997  0
0       0                    0.0996  0
DH
within 1e-12 "$(difference "$(csvpose "$q" --dh "$dir/sample.dh")" "$(csvpose "$q")")" ||
  failed "--dh of the sample arm: '$(csvpose "$q" --dh "$dir/sample.dh")', not '$(csvpose "$q")'"

# An arm no closed form covers (skew rows, every parameter of its own), and the sample
# arm with its twists rounded to 1e-4 rad (near the designed chain, of no layout itself).
printf '0.13 0.41 0.27 0.05\n0.31 -1.13 0.08 0.61\n0.47 0.29 -0.11 -0.37\n0.09 1.37 0.33 0.23\n0.21 -0.71 0.05 -0.83\n0.06 0.93 0.17 0.44\n' >"$dir/skew"
awk '!/^#/ { $2 = sprintf("%.4f", $2) } { print }' "$dir/arm" | tr -d , >"$dir/rounded"

# fkik arm: the family of the layout, the solver of the inverse, and whether the equivalent
# rows are of the form the inverse solver is exact for (spaces written as _).
while read -r family solver form args; do
  family=$(echo "$family" | tr _ ' ') solver=$(echo "$solver" | tr _ ' ')
  "$fkik" $args arm >"$dir/out" 2>"$dir/err" && grep -qx "family: $family" "$dir/out" &&
    grep -qx "inverse: $solver" "$dir/out" && grep -q "^designed form: $form[.]" "$dir/out" ||
    failed "fkik $args arm: not $family, $solver, designed form $form: $(cat "$dir/out" "$dir/err")"
done <<ARMS
designed_chain closed_form yes
designed_chain closed_form yes --dh $dir/sample.dh
spherical_wrist closed_form no --arm $dir/wrist --signs $signs
spherical_wrist closed_form no --urdf $urdf
general closed_form_of_the_nearest_solvable_arm,_refined no --arm $dir/rounded
general elimination no --arm $dir/skew
general elimination no --dh $dir/skew
ARMS
check 0 '^\{"arm": .*, "family": "spherical wrist", .*"solver": "closed form", .*"signs": \[([+-]?1, ){5}[+-]?1\], .*"designedForm": false\}$' \
  --format json --dh "$dir/wrist.dh" arm
check 0 '"family": "designed chain", .*"solver": "closed form", .*"designedForm": true\}$' --format json arm
check 0 '"family": "general", .*"solver": "elimination", .*"designedForm": false\}$' --format json --arm "$dir/skew" arm

# Arm options refused.
printf '0 0 0.4 0\n0 -1.57 0\n' >"$dir/dhrow"
printf '<robot name="r"><link name="a"/>\n' >"$dir/broken.urdf"
expect 2 "'2' is not +1 or -1 (--signs S3)" --arm "$dir/wrist" --signs 1 -1 2 1 1 1 fk $zeros
expect 2 "'0' is not +1 or -1 (--signs S1)" --dh "$dir/wrist.dh" --signs 0 1 1 1 1 1 fk $zeros
expect 2 "'one' is not a number (--signs S6)" --arm "$dir/wrist" --signs 1 1 1 1 1 one fk $zeros
expect 2 "--signs takes 6 numbers, got 3" --arm "$dir/wrist" --signs 1 1 1 --deg fk $zeros
expect 2 "--signs needs --arm FILE or --dh FILE" --urdf "$urdf" --signs $signs fk $zeros
expect 2 "--arm, --dh and --urdf exclude each other" --arm "$dir/wrist" --dh "$dir/wrist.dh" arm
expect 2 "--base and --tip need --urdf FILE" --arm "$dir/wrist" --tip link6 arm
expect 2 "--tip needs a link name" --urdf "$urdf" arm --tip
expect 2 "cannot read DH file '$dir/none': No such file or directory" --dh "$dir/none" arm
expect 2 "DH file '$dir/dhrow' line 2: expected 4 values (a alpha d theta), got 3" \
  --dh "$dir/dhrow" fk $zeros
expect 2 "URDF file '$dir/none': " --urdf "$dir/none" fk $zeros
grep -q "No such file or directory" "$dir/err" || failed "--urdf of no file: $(cat "$dir/err")"
expect 2 "URDF file '$dir/broken.urdf': " --urdf "$dir/broken.urdf" arm
expect 2 "URDF file '$urdf': " --urdf "$urdf" --tip link5 fk $zeros
grep -q "'link5'" "$dir/err" || failed "--tip link5 not passed on: $(cat "$dir/err")"
expect 2 "URDF file '$urdf': " --urdf "$urdf" --base link1 fk $zeros
grep -q "'link1'" "$dir/err" || failed "--base link1 not passed on: $(cat "$dir/err")"
expect 2 "arm takes no batch and writes text or json" --format csv arm
expect 2 "arm takes 0 numbers, got 6" arm $zeros

# The README's two commands on the sample arm written as URDF: its layout, and fk as the
# designed functions give it.
sample=$(dirname "$0")/urdf/parallel_middle.urdf
"$fkik" --urdf "$sample" arm >"$dir/out" 2>"$dir/err" && grep -q "^family: designed chain$" "$dir/out" &&
  grep -q "^designed form: yes" "$dir/out" || failed "fkik --urdf $sample arm: $(cat "$dir/out" "$dir/err")"
readme=$("$fkik" --urdf "$sample" fk 0.3 -1.2 1.5 -0.4 1.1 0.2 | awk '/^tcp/ { $1 = ""; print }')
designed=$("$fkik" fk 0.3 -1.2 1.5 -0.4 1.1 0.2 | awk '/^tcp/ { $1 = ""; print }')
[ -n "$readme" ] && within 1e-9 "$(difference "$readme" "$designed")" ||
  failed "fkik --urdf $sample fk gave '$readme', the designed functions '$designed'"

# ik through arm handles: the wrist arm given four ways and the sample arm as URDF. The pose
# fk gives at $q goes back to $q from $near, text and json say so, and --all (csv: result,
# count, then 16 groups of singular, joints, residual) lists the eight solutions of a pose
# in general position of these layouts, each reaching it, $q among them.
while read -r way; do
  p=$(csvpose "$q" $way)
  check 0 '^0,' --format csv $way ik $p --ref $near --tool $tool
  within 1e-9 "$(difference "$(csvjoints)" "$q")" || failed "ik $way from $near gave $(csvjoints)"
  check 0 '^residual [0-9.]+e-1[0-9]$' $way ik $p --ref $near --tool $tool
  check 0 '^\{"result": 0, "meaning": "solved", "joints": \[.*\], "residual": [0-9.e-]+\}$' \
    --format json $way ik $p --ref $near --tool $tool
  check 0 '"solutions": \[\{"singular": (true|false), "joints": \[' --format json $way ik $p --ref $q --tool $tool --all
  check 0 '^[0-9]+ +(yes|no) ' $way ik $p --ref $q --tool $tool --all
  [ "$(grep -cE '^[0-9]+ +(yes|no) ' "$dir/out")" -eq 8 ] || failed "ik $way --all: $(cat "$dir/out")"
  check 0 '^0,8,[01],' --format csv $way ik $p --ref $q --tool $tool --all
  awk -F, -v q="$q" 'NR == 1 { head = NF == 130 && $1 $2 $3 $4 $10 $130 == "# resultcountsingular0q1_0residual0residual15" }
    NR == 2 && NF == 130 { split(q, t, " "); reach = 1; for (k = 0; k < 8; ++k) {
      d = 0; for (j = 1; j <= 6; ++j) { e = $(3 + 8 * k + j) - t[j]; d = e > d ? e : -e > d ? -e : d }
      found = found || d < 1e-9; reach = reach && $(10 + 8 * k) < 1e-9 } } END { exit !(head && found && reach) }' \
    "$dir/out" || failed "ik $way --all: $q not among $(cat "$dir/out"), a solution misses, or the header"
done <<WAYS
--arm $dir/wrist --signs $signs
--arm $dir/wrist
--dh $dir/wrist.dh --signs $signs
--urdf $urdf
--urdf $sample
--arm $dir/arm --signs 1 1 1 1 1 1
WAYS
# The URDF file's limits (elbow within +-pi) hold the answer, --limits overrides them,
# --nearest changes nothing; out of reach, invalid limits and none within them.
p=$(csvpose "$q" --urdf "$sample")
turned=$(echo "$q" | awk '{ $3 = sprintf("%.17g", $3 + 8 * atan2(1, 1)); print }')
check 0 '^0,' --format csv --urdf "$sample" ik $p --ref $turned --tool $tool --nearest
within 1e-9 "$(difference "$(csvjoints)" "$q")" || failed "the URDF's limits: $(csvjoints)"
sed 's/.*/-inf inf/' "$dir/inverted" >"$dir/open"
check 0 '^0,' --format csv --urdf "$sample" ik $p --ref $turned --tool $tool --limits "$dir/open"
within 1e-9 "$(difference "$(csvjoints)" "$turned")" || failed "--limits open: $(csvjoints)"
check 16 '^result 6: target out of reach$' --urdf "$sample" ik 2 0.5 0.3 0 0 0 --ref $q
check 18 '^result 8: invalid joint limits$' --urdf "$sample" ik $p --ref $q --limits "$dir/inverted"
check 17 '^result 7: no solution' --urdf "$sample" ik $p --ref $far --tool $tool --limits "$dir/tight"
# A batch: a row per line (the reference on it), the error row in the place of the malformed.
printf '%s %s\n1 2 3\n' "$p" "$near" >"$dir/handle.batch"
check 2 '^error,2,"expected 6 pose values' --format csv --urdf "$sample" ik - --input "$dir/handle.batch" --tool $tool
[ "$(awk -F, '{ print $1 }' "$dir/out" | tr '\n' ' ')" = "# result 0 error " ] && within 1e-9 "$(difference "$(csvjoints)" "$q")" ||
  failed "--urdf ik batch: $(cat "$dir/out")"

# Arms no closed form covers, by elimination: the skew rows either way, the sample's rows
# with alpha in degrees taken for radians, and the rounded arm (its refined closed form).
# fk's pose at $q goes back to $q from $near; with --all, every solution fk takes to that
# pose and $q is among them.
for way in "--arm $dir/skew" "--dh $dir/skew" "--arm $dir/armdeg" "--arm $dir/rounded"; do
  p=$(csvpose "$q" $way)
  check 0 '^0,' --format csv $way ik $p --ref $near --tool $tool
  within 1e-9 "$(difference "$(csvjoints)" "$q")" || failed "ik $way from $near gave $(csvjoints)"
  check 0 '^0,[1-9][0-9]*,[01],' --format csv $way ik $p --ref $q --tool $tool --all
  awk -F, 'NR == 2 { for (k = 0; k < $2; ++k) print $(4 + 8 * k), $(5 + 8 * k), $(6 + 8 * k),
    $(7 + 8 * k), $(8 + 8 * k), $(9 + 8 * k) }' "$dir/out" >"$dir/solutions"
  [ -s "$dir/solutions" ] || failed "ik $way --all: no solutions in $(cat "$dir/out")"
  among=no
  while read -r solution; do
    reached=$(csvpose "$solution" $way)
    [ -n "$reached" ] && within 1e-9 "$(difference "$reached" "$p")" ||
      failed "ik $way --all: $solution reaches '$reached', not $p"
    within 1e-9 "$(difference "$solution" "$q")" && among=yes
  done <"$dir/solutions"
  [ "$among" = yes ] || failed "ik $way --all: $q not among $(cat "$dir/solutions")"
done

# A degenerate arm (rows all zero: every axis the base's z axis) has no inverse: exit
# status 21, nothing on stdout, the message naming fkik arm. --mode and demo belong to the
# designed solver.
for i in 1 2 3 4 5 6; do echo "0 0 0 0"; done >"$dir/degenerate"
echo "$pose $q" >"$dir/request"
degenerate="ik: no inverse: the arm is degenerate (coincident axes); fkik arm prints its layout"
"$fkik" --arm "$dir/degenerate" arm >"$dir/out" 2>&1 && grep -qx "inverse: none" "$dir/out" ||
  failed "fkik arm of the degenerate arm: not 'inverse: none': $(cat "$dir/out")"
expect 21 "$degenerate" --arm "$dir/degenerate" ik $pose --ref $q
expect 21 "$degenerate" --arm "$dir/degenerate" --format csv ik $pose --ref $q --all
expect 21 "$degenerate" --dh "$dir/degenerate" --format csv ik - --input "$dir/request"
expect 21 "$degenerate" --dh "$dir/degenerate" --format json ik $pose --ref $q --nearest
modes="configuration modes belong to the designed solver"
expect 2 "--mode: $modes" --urdf "$urdf" ik $pose --ref $q --mode 1
expect 2 "--mode: $modes" --arm "$dir/skew" ik $pose --ref $q --mode -1
expect 2 "demo: the demo and its timings belong to the designed solver" --dh "$dir/wrist.dh" demo

# No library beside the program (a copy of it elsewhere); then the library and no URDF
# reader.
cp "$fkik" "$dir/fkik"
library=$(dirname "$fkik")/libFk_Ik_so.so.1
fkik="$dir/fkik"
expect 1 "cannot find the library libFk_Ik_so.so.1 beside this program, in $dir/../lib or on the library path; give it with --lib FILE (tried: $dir/libFk_Ik_so.so.1: cannot open shared object file" demo
cp "$library" "$dir/"
expect 1 "cannot find the URDF reader libFk_Ik_so_urdf.so.1 beside this program, in $dir/../lib or on the library path (tried: $dir/libFk_Ik_so_urdf.so.1: cannot open shared object file" \
  --urdf "$urdf" arm

[ "$failures" -eq 0 ] && echo "fkik answers as it should" && exit 0
echo "$failures failed"
exit 1
