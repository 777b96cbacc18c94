#!/bin/sh
# Every bad input to fkik gets one line on stderr, starting "fkik: " and naming what was
# wrong, nothing on stdout, and a non-zero exit status (2 bad input, 1 library).
# Usage: test_fkik_bad_input.sh PATH_TO_FKIK
set -u
fkik=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

# expect STATUS MESSAGE_PART ARGS...
expect() {
  status=$1 part=$2
  shift 2
  "$fkik" "$@" >"$dir/out" 2>"$dir/err"
  got=$?
  lines=$(wc -l <"$dir/err")
  if [ "$got" -ne "$status" ] || [ "$lines" -ne 1 ] || [ -s "$dir/out" ] ||
    ! grep -q "^fkik: " "$dir/err" || ! grep -qF -- "$part" "$dir/err"; then
    echo "FAILED: fkik $*"
    echo "  expected status $status and one line with: $part"
    echo "  got status $got, stdout $(wc -c <"$dir/out") bytes, stderr:"
    sed 's/^/    /' "$dir/err"
    failures=$((failures + 1))
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
cp "$fkik" "$dir/fkik"
fkik="$dir/fkik"
expect 1 "cannot load library: $dir/libFk_Ik_so.so: cannot open shared object file" demo

[ "$failures" -eq 0 ] && echo "all bad inputs answered" && exit 0
echo "$failures failed"
exit 1
