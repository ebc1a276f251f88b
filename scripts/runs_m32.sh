#!/usr/bin/env bash
# Exits 0 when this machine runs 32-bit x86 programs natively, 1 when its
# kernel refuses them (the i386 suite then runs under qemu-i386).
set -u
probe=$(mktemp -d)
trap 'rm -rf "$probe"' EXIT
echo 'int main(void) { return 0; }' > "$probe/probe.c"
gcc -m32 "$probe/probe.c" -o "$probe/probe" 2>/dev/null || exit 0 # no 32-bit compiler: nothing to decide
"$probe/probe" 2>/dev/null
