#!/usr/bin/env bash
# Static checks: what coroutines return, shellcheck over the scripts, cppcheck over the code. Fails on a finding.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/check-coroutines.sh
shellcheck run check .ci/run benchmarks/report scripts/*.sh
# Coroutines are beyond this cppcheck: it misses their returns and asks for references that must not be taken. A QPointer
# that is returned as a pointer it takes for an integer.
cppcheck -j2 --quiet --error-exitcode=1 --enable=warning,portability --library=qt --std=c++20 --inline-suppr \
    --suppress=internalAstError --suppress=unknownMacro --suppress=missingReturn --suppress=noCopyConstructor \
    --suppress=noOperatorEq --suppress=CastIntegerToAddressAtReturn src sandbox
