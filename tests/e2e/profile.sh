#!/usr/bin/env bash
# profile.sh TAIL GATHER: the profile of the profile_tail and profile_gather
# programs under sve-run and under the client: the files follow the schema
# and give the counts, utilisation, bytes and gathered elements that the
# loops' lengths say, attributed to the loops' functions and lines by
# tools/sve-report, which also writes its page; both modes give the same
# profile; and a profile that cannot be written is named before the program
# runs. The client's cases are skipped where it is not built.
set -uo pipefail
tail_prog=$1 gather_prog=$2
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
failed=0

check() {
  local name=$1; shift
  if out=$("$@" 2>&1); then echo "ok   $name${out:+: ${out##*$'\n'}}"; else echo "FAIL $name:"; sed 's/^/  /' <<<"$out" | head -12; failed=1; fi
}

# profiled MODE PROGRAM FUNCTION N CALLS GATHERS
profiled() {
  local launcher=$1 prog=$2 function=$3 n=$4 calls=$5 gathers=$6
  local name=$launcher-$(basename "$prog")
  SVE_PROFILE=$tmp/$name.json "$root/tools/$launcher" "$prog" "$n" >/dev/null 2>"$tmp/$name.err" || { cat "$tmp/$name.err"; return 1; }
  "$root/tools/sve-report" --json "$tmp/$name.annotated.json" --html "$tmp/$name.html" "$tmp/$name.json" \
    >"$tmp/$name.report" || return 1
  grep -q "$function" "$tmp/$name.html" || { echo "the page does not name $function"; return 1; }
  grep -qE "^ +[0-9,]+ +[0-9.]+% +[0-9.]+% +$function " "$tmp/$name.report" || { cat "$tmp/$name.report"; return 1; }
  python3 "$here/profile_check.py" "$tmp/$name.json" "$tmp/$name.annotated.json" "$function" \
    "$here/$(basename "$prog").c" "$n" "$calls" "$gathers"
}

# The same instructions, counts and sums in two profiles, wherever the
# program was loaded.
same_profile() {
  python3 - "$1" "$2" <<'PY'
import json, sys
def rows(path):
    p = json.load(open(path))
    return [{k: v for k, v in r.items() if k != "address"} for r in p["instructions"]], p["totals"]
a, b = rows(sys.argv[1]), rows(sys.argv[2])
if a != b:
    print("the profiles differ:", [x for x in a[0] if x not in b[0]][:3], a[1], b[1])
    sys.exit(1)
PY
}

unwritable() {
  local out rc
  out=$(SVE_PROFILE=/nonexistent/dir/p.json "$root/tools/$1" "$tail_prog" 2>&1)
  rc=$?
  [[ $rc != 0 && $out == *"cannot write the profile to /nonexistent/dir/p.json"* &&
     $out != *"n 1000"* ]] || { echo "status $rc: $out"; return 1; }
}

modes=(sve-run)
[[ -n ${SVE_CLIENT_LIB:-} ]] && modes+=(sve-dr)
for m in "${modes[@]}"; do
  check "$m: a loop with a tail" profiled "$m" "$tail_prog" saxpy 1000 10 no
  check "$m: a loop that gathers" profiled "$m" "$gather_prog" gather 777 5 yes
  check "$m: a profile that cannot be written" unwritable "$m"
done
if [[ ${#modes[@]} == 2 ]]; then
  for p in profile_tail profile_gather; do
    check "sve-run and the client give the same profile of $p" same_profile "$tmp/sve-run-$p.json" "$tmp/sve-dr-$p.json"
  done
else
  echo "skipped: the client's cases (the framework client is not built)"
fi
exit $failed
