#!/usr/bin/env python3
"""Writes the fuzz targets' seed inputs from real files of a build tree.

    make_seeds.py --build BUILD_DIR --source SOURCE_DIR --out OUT_DIR

Sources: the compiled locales and conversions the build ships
(BUILD_DIR/kelvanix/vls/lc11/**.lco, default.lco among them, and
vls/cv9/*.cvo), the registry (SOURCE_DIR/data/
registry and the build's copy) and locale specifications made from the
shipped locale names. OUT_DIR/<target>/ gets one file an input, in the
layout each target reads (see the comment at the head of its source):
a reader or member selector byte, where the target has one, and the text
part of services.h (length byte, split byte, text) where it has one.
Missing sources give fewer seeds, never an error.
"""
import argparse
import hashlib
import os
import re
import sys

MARKERS = ["LC_CTYPE", "LC_COLLATE", "LC_NUMERIC", "LC_MONETARY", "LC_TIME", "LC_MESSAGES"]


def sections(data):
    """The sections of a locale file: marker name -> bytes after its line."""
    out = {}
    starts = []
    for m in MARKERS:
        i = data.find(("### %s\n" % m).encode())
        if i >= 0:
            starts.append((i, m))
    starts.sort()
    for k, (i, m) in enumerate(starts):
        body = i + len(m) + 5
        end = starts[k + 1][0] if k + 1 < len(starts) else len(data)
        out[m] = data[body:end]
    return out


def codeset_line(data):
    """The codeset name that ends the file header."""
    lines = data.split(b"\n")
    try:
        n = int(lines[2].split(b"=")[1])
        return lines[n].decode("latin-1")
    except (IndexError, ValueError):
        return ""


def locale_texts(data):
    """Real text of the locale's codeset: its day and month names and
    other strings of LC_TIME and LC_MESSAGES (hex items "N HEX")."""
    sec = sections(data)
    words = []
    for m in ("LC_TIME", "LC_MESSAGES", "LC_MONETARY"):
        for line in sec.get(m, b"").split(b"\n"):
            parts = line.split(b" ")
            if len(parts) == 2 and parts[0].isdigit() and int(parts[0]) > 0 and re.fullmatch(rb"[0-9A-Fa-f]+", parts[1]):
                try:
                    words.append(bytes.fromhex(parts[1].decode()))
                except ValueError:
                    pass
    return words


def text_part(words, extra=b""):
    text = b" ".join(words)[:200] + extra
    text = text[:255]
    return bytes([len(text), len(text) // 2]) + text


def is_multibyte(ctype):
    """The first line of the LC_CTYPE tree: "max min flags default"."""
    try:
        return int(ctype.split(b"\n")[0].split(b" ")[0]) > 1
    except (IndexError, ValueError):
        return False


TARGETS = ["fuzz_coll", "fuzz_cvo", "fuzz_lco", "fuzz_multi", "fuzz_registry", "fuzz_spec", "fuzz_str", "fuzz_time"]


class Writer:
    def __init__(self, out):
        self.out = out
        self.count = {}
        # Seeds of an earlier run go: their names carry their digest.
        for t in TARGETS:
            d = os.path.join(out, t)
            if os.path.isdir(d):
                for f in os.listdir(d):
                    os.remove(os.path.join(d, f))

    def put(self, target, name, data):
        d = os.path.join(self.out, target)
        os.makedirs(d, exist_ok=True)
        digest = hashlib.sha1(data).hexdigest()[:10]
        with open(os.path.join(d, "%s-%s" % (name, digest)), "wb") as f:
            f.write(data)
        self.count[target] = self.count.get(target, 0) + 1


def registry_names(paths):
    """Codeset number -> the first name the registry gives it."""
    names = {}
    for p in paths:
        try:
            lines = open(p, "rb").read().decode("latin-1").split("\n")
        except OSError:
            continue
        for line in lines:
            parts = line.split()
            if len(parts) >= 2 and not parts[0].startswith("#") and parts[1].isdigit():
                names.setdefault(int(parts[1]), parts[0])
    return names


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--build", required=True)
    ap.add_argument("--source", required=True)
    ap.add_argument("--out", required=True)
    a = ap.parse_args()
    w = Writer(a.out)

    lc_dir = os.path.join(a.build, "kelvanix", "vls", "lc11")
    lcos = []
    for root, _, files in os.walk(lc_dir):
        for f in files:
            if f.endswith(".lco"):
                lcos.append(os.path.join(root, f))
    lcos.sort()
    registries = [p for p in (os.path.join(a.source, "data", "registry"),
                              os.path.join(a.build, "kelvanix", "vls", "cm3", "registry")) if os.path.isfile(p)]

    euc_text = b""
    for path in lcos:
        rel = os.path.relpath(path, lc_dir).replace(os.sep, "_")[:-4]
        data = open(path, "rb").read()
        sec = sections(data)
        ctype = sec.get("LC_CTYPE", b"")
        multi = is_multibyte(ctype)
        words = locale_texts(data)
        text = text_part(words, b"  ab 12\t")
        # fuzz_lco: the whole file, each section alone, the one-category file.
        w.put("fuzz_lco", rel + "-whole", b"\x00" + text + data)
        w.put("fuzz_lco", rel + "-plain", b"\x00" + text_part([b"Hello, World 09 \t"]) + data)
        if ctype:
            w.put("fuzz_lco", rel + "-ctype", b"\x01" + text + ctype)
        fixture = 8 if multi else 0  # bit 3: the EUC-like fixture
        for sel, m in ((2, "LC_NUMERIC"), (3, "LC_MONETARY"), (4, "LC_MESSAGES")):
            if m in sec:
                w.put("fuzz_lco", rel + "-" + m.lower(), bytes([sel | fixture]) + text + sec[m])
        cs = codeset_line(data)
        if cs in ("8859-1", "ujis"):
            w.put("fuzz_lco", rel + "-messages-file", bytes([5 | (8 if cs == "ujis" else 0)]) + text + data)
        # fuzz_time: the time section, in the fixture codeset of its kind.
        if "LC_TIME" in sec:
            w.put("fuzz_time", rel, bytes([1 if multi else 0]) + text + sec["LC_TIME"])
            w.put("fuzz_time", rel + "-twice", bytes([3 if multi else 2]) + text + sec["LC_TIME"])
        # fuzz_coll: the collation section, in the fixture codeset of its kind
        # (the large UTF-8 orders only slow the fuzzer down).
        if "LC_COLLATE" in sec and len(sec["LC_COLLATE"]) < 262144:
            w.put("fuzz_coll", rel, bytes([1 if multi else 0]) + text + sec["LC_COLLATE"])
        # fuzz_multi: the LC_CTYPE tree (16-bit data, keys up to 4 bytes).
        if ctype and len(ctype) < 65536:
            w.put("fuzz_multi", rel, b"\x31" + ctype)
        if cs == "ujis":
            euc_text = b" ".join(words)
        # fuzz_spec: the file name as a specification.
        w.put("fuzz_spec", rel + "-fname", b"\x00" + os.path.relpath(path, lc_dir).encode())
        w.put("fuzz_spec", rel + "-key", b"\x09" + b"VL_CTYPE=" + os.path.relpath(path, lc_dir).encode())

    # fuzz_spec: locale specifications of the shipped locales.
    names = registry_names(registries)
    for i, path in enumerate(lcos):
        rel = os.path.relpath(path, lc_dir)
        m = re.fullmatch(r"([a-z]{2})_([a-z]{2})/([0-9a-f]{4})\.lco", rel)
        if not m:
            continue
        num = int(m.group(3), 16)
        cs = names.get(num, str(num))
        spec = "%s_%s.%s" % (m.group(1), m.group(2).upper(), cs)
        w.put("fuzz_spec", "spec", bytes([i % 32]) + spec.encode())
        w.put("fuzz_spec", "spec-mod", bytes([(i * 7) % 32]) + (spec + "@euro").encode())
        w.put("fuzz_spec", "spec-pieces", bytes([i % 32]) + ("%s_%s\n%s\neuro" % (m.group(1), m.group(2).upper(), cs)).encode())

    # fuzz_registry: the registry files, and their first entries alone.
    for p in registries:
        data = open(p, "rb").read()
        w.put("fuzz_registry", "registry", data)
        body = b"\n".join(l for l in data.split(b"\n") if l and not l.startswith(b"#"))[:2048] + b"\n"
        w.put("fuzz_registry", "entries", body)

    # fuzz_str: real EUC-JP text, every member, A and B split in the middle.
    if euc_text:
        t = euc_text[:120]
        half = len(t) // 2
        for member in range(24):
            for la, lb in ((0xF0, 0xF0), (half, len(t) - half)):
                head = bytes([member, half >> 8, half & 0xFF, la & 0xFF, lb & 0xFF, (member * 5) % 40])
                w.put("fuzz_str", "member%02d" % member, head + t)

    # fuzz_cvo: the shipped conversions (the large Unicode ones only slow the
    # fuzzer down), on ASCII, the EUC-JP text and a shifted sequence.
    cv_dir = os.path.join(a.build, "kelvanix", "vls", "cv9")
    cvos = sorted(f for f in os.listdir(cv_dir) if f.endswith(".cvo")) if os.path.isdir(cv_dir) else []
    for f in cvos:
        data = open(os.path.join(cv_dir, f), "rb").read()
        if len(data) < 262144:
            text = text_part([b"Hello, World 09", euc_text[:60], b"\x0e\x30\x21\x0f\xb0\xa1"])
            w.put("fuzz_cvo", f[:-4], b"\xfc" + text + data)
            w.put("fuzz_cvo", f[:-4] + "-tight", b"\x0e" + text + data)

    for target in sorted(w.count):
        print("%s: %d seeds" % (target, w.count[target]))
    if not lcos:
        print("no compiled locales under %s" % lc_dir, file=sys.stderr)


if __name__ == "__main__":
    main()
