#!/usr/bin/env bash
# Whether programs are built so that a fault in them is hard to abuse.
#   scripts/check-hardening.sh PROGRAM...
set -euo pipefail

failed=0
want() { # what it is, the text to look in, the pattern
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
    want "binding at the start, which makes them all read-only" "$dynamic" 'BIND_NOW|FLAGS.*NOW'
    want "stack that cannot run" "$segments" 'GNU_STACK.* RW +0x'
    want "guarded stack" "$symbols" '__stack_chk_fail'
    if grep -qE ' (memcpy|memmove|memset|read|snprintf|fprintf|printf|strcpy|realpath)@' <<<"$symbols"; then
        want "checked copies of memory" "$symbols" ' __[a-z]+_chk@'
    fi
    # The system's own start-up code has no mark for it, so the linker gives none to the program.
    if [[ $(readelf -hW "$program") == *X86-64* ]]; then
        want "control-flow protection" "$(objdump -d --no-show-raw-insn "$program" | grep -m 100 -c endbr64)" '^100$'
    fi
done
if ((failed)); then
    exit 1
fi
echo "Hardened: $*"
