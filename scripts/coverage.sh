#!/usr/bin/env bash
# What the ordinary tests reach of the product: lines and branches by file, below the goals with the
# reason why.
#   scripts/coverage.sh           builds, runs the tests and reports
#   scripts/coverage.sh --lines   and lists the lines and branches that nothing has reached
#   scripts/coverage.sh --again   reports without building and running, from the last figures
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need "${packages_test[@]}" gcovr python3
lines=() again=""
for word in "$@"; do
    case $word in
        --lines) lines=(--lines) ;;
        --again) again=1 ;;
        *) sed -n '2,/^set/s/^# //p' "$0" >&2; exit 2 ;;
    esac
done
figures=build/coverage.json
if [ -z "$again" ]; then
    build coverage
    find build/coverage -name '*.gcda' -delete
    ctest --preset coverage -j "$jobs" -LE slow --output-on-failure >build/coverage-tests.log ||
        { tail -n 40 build/coverage-tests.log >&2; exit 1; }
    # The branches of new and delete are the compiler's: they ask for null.
    # Counters of a process that is killed while it writes them can't be read: they count as none.
    gcovr --root . --object-directory build/coverage -j "$jobs" --json "$figures" \
        --exclude-throw-branches --exclude-unreachable-branches \
        --exclude-branches-by-pattern '.*\b(new|delete)\b.*' --gcov-ignore-parse-errors \
        --filter '(norba|util|serv_cli|ask|simulator)/' --filter '(main|console)' \
        --filter '(out_of_memory|standard_descriptors)' build/coverage 2>build/coverage.log ||
        { tail -n 20 build/coverage.log >&2; exit 1; }
fi
scripts/coverage_report.py "${lines[@]}" "$figures"
