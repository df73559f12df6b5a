#!/usr/bin/env bash
# Checks that programs are built with protection against the exploitation of faults.
#   scripts/check-hardening.sh PROGRAM...
set -euo pipefail

failed=0
want() { # name of the protection, text to search, pattern
    if ! grep -qE "$3" <<<"$2"; then
        echo "$program: no $1" >&2
        failed=1
    fi
}

for program in "$@"; do
    dynamic=$(readelf -dW "$program")
    segments=$(readelf -lW "$program")
    symbols=$(readelf -sW --dyn-syms "$program")
    want "position-independent code" "$dynamic" 'FLAGS_1.*PIE'
    want "read-only relocations" "$segments" 'GNU_RELRO'
    want "immediate binding, which makes all relocations read-only" "$dynamic" 'BIND_NOW|FLAGS.*NOW'
    want "non-executable stack" "$segments" 'GNU_STACK.* RW +0x'
    want "stack protector" "$symbols" '__stack_chk_fail'
    if grep -qE ' (memcpy|memmove|memset|read|snprintf|fprintf|printf|strcpy|realpath)@' <<<"$symbols"; then
        want "fortified memory functions" "$symbols" ' __[a-z]+_chk@'
    fi
    # The system's start-up code is not marked for it, so the linker does not mark the program either.
    if [[ $(readelf -hW "$program") == *X86-64* ]]; then
        want "control-flow protection" "$(objdump -d --no-show-raw-insn "$program" | grep -m 100 -c endbr64)" '^100$'
    fi
done
if ((failed)); then
    exit 1
fi
echo "Hardened: $*"
