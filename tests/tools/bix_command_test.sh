#!/bin/sh
# Tests of the command `bix`: what it prints, where, and its exit status.
#   bix_command_test.sh PROGRAM
set -u
bix=$1
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
HOME=$home
export HOME
# What loading the library makes in the home directory is not what is tested here.
mkdir "$home/work"
cd "$home/work" || exit 1
failures=0

# expect STATUS OUTPUT ERRORS ARGUMENTS...
expect() {
  want_status=$1 want_out=$2 want_err=$3
  shift 3
  "$bix" "$@" >out 2>err
  status=$?
  if [ "$status" != "$want_status" ] || [ "$(cat out)" != "$want_out" ] ||
    [ "$(cat err)" != "$want_err" ]; then
    echo "bix $*: status $status, wanted $want_status"
    echo "--- output"; cat out
    echo "--- wanted"; echo "$want_out"
    echo "--- errors"; cat err
    echo "--- wanted"; echo "$want_err"
    failures=$((failures + 1))
  fi
}

tab=$(printf '\t')
printf '[A/B]\n"x"="1 2"\n"y"=true ("fixed"="true")\n' >good.tot
printf '[A/B]\n"x"="mine"\n"y"=false\n' >user.tot
printf '[A/B]\n"x" 5\n' >broken.tot
cp good.tot good.copy

expect 0 "good.tot: ok, 2 values" "" check good.tot
expect 2 "" 'broken.tot:2:5: expected "=" after the value name' check broken.tot
expect 1 "" "missing.tot: cannot be read" check missing.tot
expect 2 "good.tot: ok, 2 values" 'broken.tot:2:5: expected "=" after the value name' \
  check broken.tot good.tot
expect 0 "A/B${tab}x${tab}1 2
A/B${tab}y${tab}true" "" list good.tot
expect 0 "1 2" "" get good.tot A/B x
expect 1 "" "" get good.tot A/B z
expect 1 "" "" get good.tot A x
expect 0 "user.tot${tab}\"mine\"${tab}${tab}the first file that holds it gives the value
good.tot${tab}\"1 2\"${tab}${tab}hidden: a file before it holds the option
value${tab}\"mine\"${tab}from user.tot" "" explain A/B x user.tot good.tot
expect 0 "user.tot${tab}\"false\"${tab}${tab}overruled: a file behind it fixes the option
good.tot${tab}\"true\"${tab}fixed${tab}fixed: wins over the files before it
value${tab}\"true\"${tab}from good.tot" "" explain A/B y user.tot good.tot
expect 1 "user.tot${tab}-${tab}${tab}does not hold the option" "" explain A/B z user.tot
expect 2 "" 'broken.tot:2:5: expected "=" after the value name' explain A/B x user.tot broken.tot
expect 0 "bix 10.0.0" "" --version

"$bix" directories >out || failures=$((failures + 1))
grep -q "^language${tab}en\$" out || { echo "directories:"; cat out; failures=$((failures + 1)); }
"$bix" check >out 2>&1 && { echo "check without a file succeeds"; failures=$((failures + 1)); }

cmp good.tot good.copy || failures=$((failures + 1))
rm -f out err
[ "$(ls)" = "broken.tot
good.copy
good.tot
user.tot" ] || { echo "files were made:"; ls; failures=$((failures + 1)); }
exit "$failures"
