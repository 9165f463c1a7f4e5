#!/usr/bin/env python3
"""Conformance of the emulator against real SVE code.

For every decode entry, instruction words with the entry's fixed bits and
random operand fields are run on random states by three runners:

  reference  real SVE code under qemu at the build's vector length
  native     the emulator built for this host
  aarch64    the emulator built for AArch64, under qemu on a CPU without SVE

Every register, predicate, FFR, NZCV, FPSR bit and arena byte must agree,
except the differences listed in tests/conformance/expected_differences.txt.
A check with objdump makes sure each entry's words disassemble to the entry's
instruction. Failures print the seed, the disassembly and the differing
fields in hex.
"""
import argparse
import collections
import os
import random
import re
import struct
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
QEMU = "qemu-aarch64"
SYSROOT = "/usr/aarch64-linux-gnu"
# The processor without SVE that the AArch64 build of the emulator runs on.
HOST_CPU = os.environ.get("SVE_HOST_CPU", "neoverse-n1")
CASE = struct.Struct("<IIQII")
RESULT = struct.Struct("<IIQ")
STATUS = {0: "ran", 1: "SIGILL", 2: "SIGSEGV", 3: "SIGBUS", 4: "signal", 255: "crashed"}
CRASHED = 255  # the reference process itself died on the case
ARENA_BASE, ARENA_SIZE = 0x40000000, 64 * 1024


class Layout:
    """The state record of tests/conformance/case_state.h at one vector length."""

    def __init__(self, vl_bits):
        self.vl = vl_bits // 8
        self.pl = self.vl // 8
        self.p_off = 32 * self.vl
        self.x_off = (self.p_off + 17 * self.pl + 15) // 16 * 16
        self.size = self.x_off + 35 * 8

    def fields(self, blob):
        """The named fields of a dumped state and arena, as hex strings."""
        out = {}
        for n in range(32):
            out["z%d" % n] = blob[n * self.vl:(n + 1) * self.vl]
        for n in range(17):
            name = "p%d" % n if n < 16 else "ffr"
            out[name] = blob[self.p_off + n * self.pl:self.p_off + (n + 1) * self.pl]
        regs = struct.unpack_from("<35Q", blob, self.x_off)
        for n in range(31):
            out["x%d" % n] = regs[n]
        out["sp"], out["nzcv"], out["fpsr"], out["fpcr"] = regs[31:35]
        out["arena"] = blob[self.size:self.size + ARENA_SIZE]
        return out


def run(cmd, data):
    r = subprocess.run(cmd, input=data, capture_output=True)
    if r.returncode != 0:
        sys.exit("%s failed (%d): %s" % (" ".join(cmd), r.returncode, r.stderr.decode(errors="replace")[-2000:]))
    return r.stdout


def run_cases(cmd, cases, layout):
    """The runner's output for a list of cases. When the runner process
    itself dies (qemu aborts on a few words), the batch is split to find the
    cases it cannot run; each of those gets the status CRASHED."""
    data = b"".join(CASE.pack(*c) for c in cases)
    r = subprocess.run(cmd, input=data, capture_output=True)
    if r.returncode == 0:
        return r.stdout
    if len(cases) == 1:
        return RESULT.pack(CRASHED, 0, 0) + (bytes(layout.size + ARENA_SIZE) if cases[0][1] else b"")
    half = len(cases) // 2
    return run_cases(cmd, cases[:half], layout) + run_cases(cmd, cases[half:], layout)


def results(out, cases, layout):
    """(status, digest, dump or None) for each case of a batch."""
    res, off = [], 0
    for c in cases:
        status, _, digest = RESULT.unpack_from(out, off)
        off += RESULT.size
        dump = None
        if c[1]:
            dump = out[off:off + layout.size + ARENA_SIZE]
            off += layout.size + ARENA_SIZE
        res.append((status, digest, dump))
    return res


def load_expected(path, vl):
    """Listed differences: (section, handler regex, field regex, reason). A
    handler pattern may end in @BITS[,BITS...]: the line then holds only at
    those vector lengths."""
    rows = []
    section = None
    for line in open(path):
        line = line.strip()
        if not line or line.startswith("#"):
            continue
        if line.startswith("[") and line.endswith("]"):
            section = line[1:-1]
            continue
        handler, field, reason = line.split(None, 2)
        if "@" in handler:
            handler, lengths = handler.split("@")
            if str(vl) not in lengths.split(","):
                continue
        rows.append((section, re.compile(handler + "$"), re.compile(field + "$"), reason))
    return rows


def excused(expected, name, fields):
    """The section that excuses every differing field of a case, or None."""
    for section in ("deliberate", "reference"):
        rows = [r for r in expected if r[0] == section and r[1].match(name)]
        if fields and all(any(r[2].match(f) for r in rows) for f in fields):
            return section
    return None


def disassemble(words):
    """objdump's text for each word."""
    with tempfile.NamedTemporaryFile(suffix=".bin") as f:
        f.write(b"".join(struct.pack("<I", w) for w in words))
        f.flush()
        out = subprocess.run(["aarch64-linux-gnu-objdump", "-D", "-b", "binary", "-m", "aarch64", f.name],
                             capture_output=True, text=True, check=True).stdout
    text = {}
    for line in out.splitlines():
        m = re.match(r"\s*([0-9a-f]+):\s+([0-9a-f]{8})\s+(.*)", line)
        if m:
            text[int(m.group(1), 16) // 4] = m.group(3).split("//")[0].strip()
    return [text.get(i, "?") for i in range(len(words))]


def diff_fields(ref, emu):
    """Names and hex of the fields where two dumped states differ."""
    lines, names = [], []
    for name in ref:
        a, b = ref[name], emu[name]
        if a == b:
            continue
        names.append(name)
        if isinstance(a, int):
            lines.append("    %-6s reference %016x  emulator %016x" % (name, a, b))
        else:
            at = [i for i in range(len(a)) if a[i] != b[i]]
            lo = at[0] // 16 * 16
            lines.append("    %-6s bytes %d..%d differ; from byte %d:" % (name, at[0], at[-1], lo))
            lines.append("           reference %s" % a[lo:lo + 32].hex())
            lines.append("           emulator  %s" % b[lo:lo + 32].hex())
    return names, lines


# Aliases that objdump prints for some operand values of an instruction.
ALIASES = {
    "orr": {"mov"}, "orrs": {"movs"}, "and": {"mov"}, "ands": {"movs"}, "eor": {"not"}, "eors": {"nots"},
    "sel": {"mov"}, "cpy": {"mov", "fmov"}, "dup": {"mov", "fmov"}, "dupm": {"mov"}, "fcpy": {"fmov"},
    "fdup": {"fmov"}, "nor": {"not"}, "nors": {"nots"},
}


def decode_check(entries, rng, expected):
    """Each entry's words disassemble to its instruction at its element size.
    Words that the architecture leaves unallocated pass where the expected
    differences let the handler run them (a listed `status` difference)."""
    words, owners = [], []
    for e in entries:
        for _ in range(4):
            words.append(e["value"] | (rng.getrandbits(32) & ~e["mask"] & 0xffffffff))
            owners.append(e)
    bad = collections.Counter()
    examples = {}
    for w, e, text in zip(words, owners, disassemble(words)):
        mnemonic = text.split()[0] if text.split() else "?"
        want = e["sample"].split()[0]
        suffix = re.search(r"\.([bhsdq])\b", e["sample"].replace(".T", "." + "bhsdq"[e["size"]]))
        got_suffix = re.search(r"\.([bhsdq])\b", text)
        ok = mnemonic == want or mnemonic in ALIASES.get(want, ())
        if mnemonic == ".inst" and "undefined" in text and excused(expected, e["name"], ["status"]):
            continue
        # A bit-mask immediate is printed at the element size its pattern
        # repeats at, whatever the instruction's own size.
        bitmask = want in ("and", "orr", "eor", "dupm") and "#" in e["sample"]
        if ok and suffix and got_suffix and mnemonic == want and not bitmask:
            ok = suffix.group(1) == got_suffix.group(1)
        if not ok:
            bad[e["name"]] += 1
            examples.setdefault(e["name"], "0x%08x: %s (expected %s)" % (w, text, e["sample"]))
    return bad, examples


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    ap.add_argument("--vl", type=int, default=1792, help="vector length in bits of the builds")
    ap.add_argument("--cases", type=int, default=200, help="cases per decode entry")
    ap.add_argument("--seed", type=int, default=None, help="seed of the whole run (printed when not given)")
    ap.add_argument("--filter", default=".*", help="regular expression on handler names")
    ap.add_argument("--sides", default="native,aarch64", help="emulator sides to check")
    ap.add_argument("--exact-fp", action="store_true",
                    help="the emulator's floating point on its exact path for every operand")
    ap.add_argument("--native-build", required=True, help="native build tree")
    ap.add_argument("--cross-build", required=True, help="AArch64 build tree")
    ap.add_argument("--expected", default=os.path.join(ROOT, "tests/conformance/expected_differences.txt"))
    ap.add_argument("--show", type=int, default=5, help="failures shown in full per handler")
    args = ap.parse_args()

    seed = args.seed if args.seed is not None else random.SystemRandom().getrandbits(32)
    rng = random.Random(seed)
    layout = Layout(args.vl)
    native = os.path.join(args.native_build, "tests/conformance/conformance_emu")
    cross_emu = os.path.join(args.cross_build, "tests/conformance/conformance_emu")
    cross_ref = os.path.join(args.cross_build, "tests/conformance/conformance_ref")
    reference = [QEMU, "-cpu", "max,sve-default-vector-length=%d" % (args.vl // 8), "-L", SYSROOT, cross_ref]
    sides = {"native": [native], "aarch64": [QEMU, "-cpu", HOST_CPU, "-L", SYSROOT, cross_emu]}
    sides = {k: v + (["--exact-fp"] if args.exact_fp else []) for k, v in sides.items() if k in args.sides.split(",")}

    entries = []
    for line in subprocess.run([native, "--entries"], capture_output=True, text=True, check=True).stdout.splitlines():
        name, family, mask, value, size, sample = line.split(" ", 5)
        if re.search(args.filter, name):
            entries.append(dict(name=name, family=family, mask=int(mask, 16), value=int(value, 16),
                                size=int(size), sample=sample))
    if not entries:
        sys.exit("no decode entry matches %r" % args.filter)
    print("conformance at %d bits: %d entries x %d cases, seed %d, sides %s" %
          (args.vl, len(entries), args.cases, seed, ",".join(sides)))

    # Loads that survive faults get their addresses next to the end of the
    # arena, so that their accesses cross into the unmapped page behind it:
    # the state puts addresses there in even-numbered registers and small
    # offsets in odd-numbered ones, and the words take the base (bits 9:5)
    # from the former and the offset (bits 20:16) from the latter. The
    # immediate of a non-fault load (bits 19:16, in whole vectors) is mostly 0.
    def near_end(name):
        return int(bool(re.search(r"Load(FF|NF)", name)))

    def near_end_word(name, word):
        word &= ~(1 << 5)
        if "LoadNF" in name:
            return word & ~(0xf << 16) if rng.random() < 0.75 else word
        return word | 1 << 16

    # Conversions read sources narrower than their elements: their states
    # also get the special values of the narrower sizes.
    def narrow(name):
        return int(bool(re.search(r"(From[SU]\d|_\dFrom[HFD]|Extnd[HF]|Trunc[FD])VM$", name)))

    cases, owner = [], []
    for e in entries:
        for _ in range(args.cases):
            word = e["value"] | (rng.getrandbits(32) & ~e["mask"] & 0xffffffff)
            if near_end(e["name"]):
                word = near_end_word(e["name"], word)
            cases.append((word, 0, rng.getrandbits(64), min(e["size"], 3) | narrow(e["name"]) << 8,
                          near_end(e["name"])))
            owner.append(e)
    batch = b"".join(CASE.pack(*c) for c in cases)
    ref = results(run_cases(reference, cases, layout), cases, layout)
    crashed = [i for i in range(len(cases)) if ref[i][0] == CRASHED]
    emu = {side: results(run(cmd, batch), cases, layout) for side, cmd in sides.items()}

    expected = load_expected(args.expected, args.vl)
    # An address built from random operands may fall on memory that the
    # qemu guest has mapped (its own image, heap or stack) but the native
    # process has not, or the other way round. Where only the native side
    # differs, only in whether it faulted, and the AArch64 side, running the
    # same code in the guest, agrees with the reference, the case says
    # nothing about the emulator: it is set apart as unrunnable.
    def address_space_only(i):
        return ("native" in emu and "aarch64" in emu and emu["aarch64"][i][:2] == ref[i][:2] and
                (emu["native"][i][0] == 0) != (ref[i][0] == 0) and 2 in (emu["native"][i][0], ref[i][0]))
    elsewhere = [i for i in range(len(cases)) if ref[i][0] != CRASHED and address_space_only(i)]
    # The same the other way: an address that the reference process has
    # mapped (its own image, heap or buffers) and neither emulator process
    # has, so that both emulator sides fault alike where the reference read.
    def reference_space_only(i):
        return ref[i][0] == 0 and len(emu) == 2 and all(emu[side][i][0] == 2 for side in emu)
    ref_only = {i for i in range(len(cases)) if reference_space_only(i)}
    failed = [(i, side) for side in emu for i in range(len(cases))
              if emu[side][i][:2] != ref[i][:2] and ref[i][0] != CRASHED and i not in ref_only and
              not (side == "native" and i in set(elsewhere))]
    # Re-run the differing cases with whole dumps to name the fields.
    idx = sorted({i for i, _ in failed})
    details = {}
    if idx:
        dump_cases = [(cases[i][0], 1, cases[i][2], cases[i][3], cases[i][4]) for i in idx]
        dump_batch = b"".join(CASE.pack(*c) for c in dump_cases)
        ref_d = results(run(reference, dump_batch), dump_cases, layout)
        emu_d = {side: results(run(sides[side], dump_batch), dump_cases, layout) for side in sides}
        for k, i in enumerate(idx):
            for side in sides:
                if emu[side][i][:2] == ref[i][:2]:
                    continue
                if ref_d[k][0] != 0 or emu_d[side][k][0] != 0:
                    details[(i, side)] = (["status"], ["    status reference %s  emulator %s" % (
                        STATUS[ref_d[k][0]], STATUS[emu_d[side][k][0]])])
                else:
                    details[(i, side)] = diff_fields(layout.fields(ref_d[k][2]), layout.fields(emu_d[side][k][2]))

    per_family = collections.OrderedDict()
    shown = collections.Counter()
    unexcused = 0
    for e in entries:
        per_family.setdefault(e["family"], collections.Counter())
    for i, e in enumerate(owner):
        per_family[e["family"]]["cases"] += 1
    words_to_show = []
    for (i, side), (fields, lines) in sorted(details.items()):
        e = owner[i]
        section = excused(expected, e["name"], fields)
        if section:
            per_family[e["family"]]["excused"] += 1
            continue
        per_family[e["family"]]["failed"] += 1
        unexcused += 1
        if shown[e["name"]] < args.show:
            shown[e["name"]] += 1
            words_to_show.append((i, side, lines))
    texts = disassemble([cases[i][0] for i, _, _ in words_to_show]) if words_to_show else []
    for (i, side, lines), text in zip(words_to_show, texts):
        e = owner[i]
        print("FAIL %s (%s side) word 0x%08x `%s` case seed %d" % (e["name"], side, cases[i][0], text, cases[i][2]))
        print("\n".join(lines))

    bad, examples = decode_check(entries, rng, expected)
    for name, n in sorted(bad.items()):
        print("DECODE %s: %d of 4 words disassemble to another instruction, e.g. %s" % (name, n, examples[name]))

    # Cases the reference cannot run are left out of the count, and shown.
    by_handler = collections.Counter(owner[i]["name"] for i in crashed)
    for name, n in sorted(by_handler.items()):
        i = next(i for i in crashed if owner[i]["name"] == name)
        print("UNRUNNABLE %s: the reference process died on %d cases, e.g. word 0x%08x case seed %d" %
              (name, n, cases[i][0], cases[i][2]))
    for i in crashed:
        per_family[owner[i]["family"]]["unrunnable"] += len(sides)
    for i in elsewhere:
        per_family[owner[i]["family"]]["unrunnable"] += 1
    if elsewhere:
        print("UNRUNNABLE on the native side: %d cases whose random address is mapped in only one of the two "
              "processes (the AArch64 side agrees with the reference)" % len(elsewhere))
    for i in ref_only:
        per_family[owner[i]["family"]]["unrunnable"] += len(sides)
    for name, n in sorted(collections.Counter(owner[i]["name"] for i in ref_only).items()):
        i = next(i for i in ref_only if owner[i]["name"] == name)
        print("UNRUNNABLE %s: %d cases whose address only the reference process has mapped (both emulator sides "
              "fault alike), e.g. word 0x%08x case seed %d" % (name, n, cases[i][0], cases[i][2]))
    print("%-34s %8s %8s %8s %8s %10s" % ("family", "cases", "passed", "excused", "failed", "unrunnable"))
    for family, c in per_family.items():
        runs = c["cases"] * len(sides)
        print("%-34s %8d %8d %8d %8d %10d" % (family, runs, runs - c["excused"] - c["failed"] - c["unrunnable"],
                                              c["excused"], c["failed"], c["unrunnable"]))
    total = len(cases) * len(sides)
    print("conformance: %d passed, %d failed" % (
        total - unexcused - sum(c["excused"] + c["unrunnable"] for c in per_family.values()), unexcused + len(bad)))
    if unexcused or bad:
        print("to repeat: %s --seed %d --cases %d --filter '%s'" % (sys.argv[0], seed, args.cases, args.filter))
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
