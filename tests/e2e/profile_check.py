"""profile_check.py PROFILE ANNOTATED FUNCTION SOURCE_FILE N CALLS GATHERS: checks a profile
of profile_tail or profile_gather against what the program does.

PROFILE is the file the emulator wrote, ANNOTATED what tools/sve-report
made of it (--json). The function FUNCTION runs a loop over N 32-bit
elements CALLS times, under a predicate made by WHILELO: each of its loads
and stores must run ceil(N / lanes) times per call, with N active elements
per call, and move 4 bytes per active element; GATHERS says whether one of
its loads gathers. Its
instructions must be attributed to FUNCTION, in SOURCE_FILE on the line
that holds the loop.
"""
import json
import math
import os
import sys

profile_path, annotated_path, function, source_file, n, calls, gathers = sys.argv[1:]
n, calls, gathers = int(n), int(calls), gathers == "yes"
failures = []


def check(ok, message):
    if not ok:
        failures.append(message)


profile = json.load(open(profile_path))
# The schema: what a profile always holds, and the types of the fields.
for key, kind in (("format", str), ("version", int), ("vector_bits", int), ("host", str), ("program", str),
                  ("instructions", list), ("totals", dict)):
    check(isinstance(profile.get(key), kind), f"top-level {key} is not a {kind.__name__}")
check(profile.get("format") == "sve-profile" and profile.get("version") == 1, "format or version")
optional = {"element_bytes", "active_elements", "element_slots", "utilisation", "bytes_loaded", "bytes_stored",
            "elements_gathered", "elements_scattered", "ffr_narrowed"}
for r in profile["instructions"]:
    for key in ("address", "offset", "word"):
        check(isinstance(r.get(key), str) and r[key].startswith("0x"), f"{key} of {r}")
    check(r.get("module") is None or isinstance(r["module"], str), f"module of {r}")
    check(isinstance(r.get("mnemonic"), str) and isinstance(r.get("count"), int) and r["count"] > 0, f"count of {r}")
    check(set(r) - {"address", "module", "offset", "word", "mnemonic", "count"} <= optional, f"unknown field in {r}")
    if "active_elements" in r:
        check(r["active_elements"] <= r["element_slots"], f"more active elements than slots in {r}")
        check(abs(r["utilisation"] - r["active_elements"] / r["element_slots"]) < 1e-6, f"utilisation of {r}")
totals = profile["totals"]
check(totals["sve_instructions"] == sum(r["count"] for r in profile["instructions"]), "total count")
check(totals["addresses"] == len(profile["instructions"]), "addresses")
check(totals["unprofiled_instructions"] == 0, "unprofiled")

annotated = json.load(open(annotated_path))
rows = [r for r in annotated["instructions"] if r["function"] == function]
check(rows, f"no instruction attributed to {function}")
loop_line = next(i + 1 for i, text in enumerate(open(source_file)) if "the profiled loop" in text)
for r in rows:
    check(r["file"] and os.path.basename(r["file"]) == os.path.basename(source_file) and r["line"] == loop_line,
          f"{r['disassembly']} attributed to {r['file']}:{r['line']}, not to the loop's line {loop_line}")

lanes = profile["vector_bits"] // 32
passes = math.ceil(n / lanes) * calls
# The loads and stores are governed by the loop's predicate (arithmetic may
# run under an all-true one).
governed = [r for r in rows if "bytes_loaded" in r]
check(governed, "no load or store in the loop")
for r in governed:
    check(r["count"] == passes, f"{r['disassembly']} ran {r['count']} times, not {passes}")
    check(r["active_elements"] == n * calls, f"{r['disassembly']}: {r['active_elements']} active, not {n * calls}")
    check(r["element_slots"] == passes * lanes, f"{r['disassembly']}: {r['element_slots']} slots")
loads = [r for r in rows if r.get("bytes_loaded")]
stores = [r for r in rows if r.get("bytes_stored")]
check(sum(r["bytes_stored"] for r in stores) == 4 * n * calls, "bytes stored")
check(sum(r["bytes_loaded"] for r in loads) == 8 * n * calls, "bytes loaded (two arrays read)")
gathered = sum(r.get("elements_gathered", 0) for r in rows)
check(gathered == (n * calls if gathers else 0), f"{gathered} elements gathered")
function_row = next(f for f in annotated["functions"] if f["function"] == function)
check(function_row["count"] == sum(r["count"] for r in rows), "function total")

if failures:
    print("\n".join(failures[:20]))
    sys.exit(1)
print(f"{function}: {len(rows)} instructions, {passes} passes, utilisation {n * calls / (passes * lanes):.4f}: as the loop says")
