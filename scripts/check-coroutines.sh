#!/usr/bin/env bash
# Checks that coroutines return only objects that end with them. QCoro moves from what co_return names, even from an lvalue:
# a member, or the target of a pointer or reference, would be left empty. Copy it into a local first. Fails on a finding;
# checks the given files, or the whole tree.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ $# -eq 0 ]; then
    mapfile -t files < <(git ls-files '*.cpp' '*.h')
    set -- "${files[@]}"
fi

awk '
    FNR == 1 || /QCoro::Task<|awaitable</ { body = "" }
    function report() {
        printf "%s:%d: %s\n", FILENAME, FNR, $0
        found = 1
    }
    # Returns whether a parameter or a local with that name has been declared by value since the coroutine began.
    function isLocal(name) {
        return body ~ ("[A-Za-z0-9_>] " name " *[=;({,)]")
    }
    match($0, /co_return +[^;]+;/) {
        value = substr($0, RSTART, RLENGTH)
        sub(/co_return +/, "", value)
        sub(/ *;$/, "", value)
        if (value ~ /^[A-Za-z_][A-Za-z0-9_]*$/ && value !~ /^(true|false|nullptr)$/ && !isLocal(value)) {
            report()
        } else if (value ~ /^\(|^\*|->|^this|^[A-Za-z_][A-Za-z0-9_]*(\.[A-Za-z_][A-Za-z0-9_]*)+$|\]$/) {
            report()
        }
    }
    {
        line = $0
        gsub(/(co_return|return|co_await|throw|new|delete|else) /, "", line)
        body = body "\n" line
    }
    END { exit found }
' "$@"
