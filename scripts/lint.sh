#!/usr/bin/env bash
# Runs static checks: returned values of coroutines, shellcheck over the scripts, cppcheck over the code. Fails on a finding.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/check-coroutines.sh
shellcheck run check .ci/run benchmarks/report scripts/*.sh
# This cppcheck does not understand coroutines: it misses their returns and suggests references that must not be used. It
# also takes a QPointer that is returned as a pointer for an integer.
cppcheck -j2 --quiet --error-exitcode=1 --enable=warning,portability --library=qt --std=c++20 --inline-suppr \
    --suppress=internalAstError --suppress=unknownMacro --suppress=missingReturn --suppress=noCopyConstructor \
    --suppress=noOperatorEq --suppress=CastIntegerToAddressAtReturn src sandbox
