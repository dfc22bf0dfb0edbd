#!/usr/bin/env bash
# What the linker and the compiler were asked for against errors of ours is in the finished files:
#
#   hardening.sh FILE...
set -euo pipefail

faults=0
fault() {
    echo "$file: $1"
    faults=1
}
# What readelf says with $1 has a line like $2.
has() { readelf -W "$1" "$file" 2>/dev/null | grep -E -- "$2" >/dev/null; }

for file in "$@"; do
    has -h 'Type: +DYN' || fault "not position-independent"
    has -l 'GNU_RELRO' || fault "no part is read-only after relocation"
    has -d '\(FLAGS(_1)?\).*NOW' || fault "symbols are bound when they are first called"
    has -l 'GNU_STACK .* RW ' || fault "the stack can be executed"
    has --dyn-syms ' __stack_chk_fail' || fault "no function guards its stack"
    has --dyn-syms ' __[a-z]+_chk(@|$)' || fault "no call of the C library is checked"
    # The mark in the file's notes is lost as soon as one of the C library's own start files lacks it.
    case "$(readelf -hW "$file")" in
    *X86-64*) landing=endbr64 disassembler=x86_64-linux-gnu-objdump ;;
    *) landing='paciasp|bti' disassembler=aarch64-linux-gnu-objdump ;;
    esac
    [ "$($disassembler -d --no-show-raw-insn "$file" | grep -Ec "$landing")" -gt 100 ] || fault "branches are not protected"
done
exit "$faults"
