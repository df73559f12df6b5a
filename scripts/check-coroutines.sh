#!/usr/bin/env bash
# Coroutines return what ends with them. QCoro moves from what co_return names, an lvalue too: a member, or what a pointer or
# reference leads to, would be left empty. Copy it into a local first. Fails on a finding; takes files, or checks the tree.
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
    # Whether a parameter or a local of that name is declared by value since the coroutine began.
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
