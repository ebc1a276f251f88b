#!/usr/bin/env python3
"""count_instructions.py - instructions per message of kelvarn-bench's
message benchmarks, measured with valgrind's callgrind.

Collection is switched on only inside the library's entry points (kelDecode
and kelFreePDU for a decode, kelEncode and kelFreeBuf for an encode), over
every iteration of a short run; the total is divided by the number of calls
of the first entry point.  The benchmark's set-up calls the same entry once
or twice, so short runs of a few hundred iterations give the steady state
within a fraction of a percent.

usage: bench/count_instructions.py path/to/kelvarn-bench [regex] [min_time]

min_time (seconds of each run, default 0.1): at much less a loaded machine
sometimes stops a run after a few iterations, whose first-call costs then
weigh in.
"""
import collections
import os
import re
import subprocess
import sys
import tempfile

ENTRIES = {"decode": ["kelDecode", "kelFreePDU"], "encode": ["kelEncode", "kelFreeBuf"]}


def per_call(bench, name, entries, min_time):
    with tempfile.TemporaryDirectory() as tmp:
        out = os.path.join(tmp, "callgrind.out")
        subprocess.run(["valgrind", "--tool=callgrind", "--callgrind-out-file=" + out]
                       + ["--toggle-collect=" + e for e in entries]
                       + [bench, "--benchmark_filter=^" + re.escape(name) + "$",
                          "--benchmark_min_time=" + min_time], capture_output=True, check=True)
        names, calls, cost = {}, collections.Counter(), collections.Counter()
        callee, pending = None, None
        with open(out) as f:
            for line in f:
                m = re.match(r"(c?fn)=\((\d+)\)(?: (.*))?", line)
                if m:
                    kind, ident, text = m.groups()
                    if text:
                        names[ident] = text.strip()
                    if kind == "cfn":
                        callee = names[ident]
                    continue
                m = re.match(r"calls=(\d+)", line)
                if m:
                    pending = int(m.group(1))
                    continue
                if pending is not None:
                    if callee in entries:
                        calls[callee] += pending
                        cost[callee] += int(line.split()[1])
                    pending = None
    return sum(cost.values()) / calls[entries[0]]


def main():
    bench = sys.argv[1]
    pattern = re.compile(sys.argv[2] if len(sys.argv) > 2 else r"^(PersonnelRecordA1|ProtoMessage|CertTrim)/")
    min_time = sys.argv[3] if len(sys.argv) > 3 else "0.1"
    listed = subprocess.run([bench, "--benchmark_list_tests"], capture_output=True, text=True, check=True)
    for name in listed.stdout.split():
        if pattern.search(name):
            direction = name.split("/")[2]
            print(f"{name}\t{per_call(bench, name, ENTRIES[direction], min_time):,.0f}")


if __name__ == "__main__":
    main()
