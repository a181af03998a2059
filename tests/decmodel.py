#!/usr/bin/env python3
"""Reference model of the decimal record, checked against Python's decimal module wherever the exact
result fits a record, then against the library: decmodel.py --driver PATH [--kelvanix DIR] [--seed N] [--count N]
(with the shipped locales under DIR, also the text conversions in the client's conventions)"""
import ctypes, decimal, os, random, re, struct, subprocess, sys, tempfile
from collections import namedtuple
from decimal import Decimal

NULL, OVERFLOW, UNDERFLOW, DIVZERO, NOFIT, BADNUM = 0xFFFF, -1200, -1201, -1202, -1273, -1213
CTX = decimal.Context(prec=400, Emin=-999999, Emax=999999)
decimal.setcontext(CTX)
R = namedtuple("R", "sign exp digits")
DIGITS = tuple("0123456789")
NUL, ZERO = R(NULL, 0, ()), R(1, -64, ())


def text(r): return "null" if r.sign == NULL else "%s%d:%s" % ("+-"[r.sign == 0], r.exp, ".".join(map(str, r.digits)))
def num(digits): return int("".join("%02d" % x for x in digits) or "0")
def base100(v, n): return [v // 100 ** (n - 1 - i) % 100 for i in range(n)]
def null_in(*recs): return any(r.sign == NULL for r in recs)
def complement(b): return base100(-num(b) % 100 ** len(b), len(b))


def decload(sign, exp, digits, count):
    if sign == -1: return 0, NUL
    d = list(digits[:count])
    while d and d[-1] == 0: d.pop()
    while d and d[0] == 0: d, exp = d[1:], exp - 1
    if len(d) > 16:  # half up on the 17th byte; zeros it leaves stay
        v = num(d[:16]) + (d[16] > 49)
        if v == 100 ** 16: v, exp = v // 100, exp + 1
        d = base100(v, 16)
    if not d: return 0, ZERO
    st = UNDERFLOW if exp < -64 else OVERFLOW if exp > 63 else 0
    return st, R(sign, max(-64, min(63, exp)), tuple(d))


def deccmp(a, b):
    if null_in(a, b): return -2
    more = 1 if a.sign else -1
    if a.sign != b.sign: return more
    ka, kb = [(1, r.exp, r.digits) if r.digits else (0,) for r in (a, b)]  # fewer digits: smaller
    return ((ka > kb) - (ka < kb)) * more


def decadd(a, b):
    if null_in(a, b): return 0, NUL
    big, small = (b, a) if deccmp(a._replace(sign=1), b._replace(sign=1)) < 0 else (a, b)
    shift, sn, bn = big.exp - small.exp, len(small.digits), len(big.digits)
    width = min(max(sn + shift, bn), 17) + 1
    n = max(0, min(sn, width - shift - 1))  # small's digits past the frame are ignored
    v = num(big.digits) * 100 ** (width - 1 - bn)
    s = num(small.digits[:n]) * 100 ** (width - 1 - shift - n) if n else 0
    return decload(big.sign, big.exp + 1, base100(v - s if a.sign != b.sign else v + s, width), width)


def decsub(a, b): return (0, NUL) if null_in(a, b) else decadd(a, b._replace(sign=int(b.sign == 0)))


def decmul(a, b):
    if null_in(a, b): return 0, NUL
    n = len(a.digits) + len(b.digits)
    return decload(int(a.sign == b.sign), a.exp + b.exp, base100(num(a.digits) * num(b.digits), n), n)


def decdiv(a, b):
    # Estimate and one correction give each quotient byte exactly: 18 truncated bytes.
    if null_in(a, b): return 0, NUL
    if not b.digits: return DIVZERO, ZERO
    q = num(a.digits) * 100 ** (17 + len(b.digits) - len(a.digits)) // num(b.digits)
    return decload(int(a.sign == b.sign), a.exp - b.exp + 1, base100(q, 18), 18)


def dectrunc(d, scale):
    keep = d.exp + ((scale + 1) >> 1)
    if len(d.digits) < keep: return d
    ds = list(d.digits[:max(keep, 0)])
    if ds and scale & 1: ds[-1] = ds[-1] // 10 * 10
    while ds and ds[-1] == 0: ds.pop()
    return d._replace(digits=tuple(ds)) if ds else ZERO


def decround(d, scale):
    if d.sign == NULL or (len(d.digits) - d.exp) * 2 <= scale: return d
    return dectrunc(decadd(d, R(d.sign, -(scale >> 1), (5 if scale & 1 else 50,)))[1], scale)


def dec2prec(d):
    n = len(d.digits)
    if not n or d.sign == NULL: return 0
    cut = d.digits[-1] % 10 == 0
    p, s = n * 2 - cut - (d.digits[0] <= 9), (n - d.exp) * 2 - cut
    return p * 256 + s if s >= 0 else (p - s) * 256


def decprec(d): p = dec2prec(d); return max(p >> 8, p & 255) * 256 + (p & 255)


def stdecimal(d, length):
    if d.sign == NULL: return [0] * length
    n, dg, e = length - 1, d.digits, (d.exp + 64) & 0x7F
    v = num(dg[:n]) * 100 ** max(0, n - len(dg)) + (len(dg) > n > 0 and dg[n] > 49)
    if v == 100 ** n: v, e = v // 100, e + 1
    if d.sign == 0 and dg: return [(e ^ 0x7F) & 0xFF] + complement(base100(v, n))
    return [(e | 0x80) & 0xFF] + base100(v, n)


def lddecimal(b, length):
    b = list(b) + [0] * 40
    if b[0] == 0 == b[1]: return 0, NUL
    n, pos = min(length, 18) - 1, b[0] >> 7
    e, copy = (b[0], b[1:1 + n]) if pos else (b[0] ^ 0x7F, complement(b[1:1 + n]))
    return decload(pos, (e & 0x7F) - 64, copy, n)


def deccvlong(v): return (0, NUL) if v == -2 ** 31 else decload(int(v >= 0), 5, base100(abs(v), 5), 5)


def dectolong(d):
    if d.sign == NULL: return 0, -2 ** 31
    if d.exp > 5 or d.exp == 5 and abs(value(d)) > 2 ** 31 - 1: return OVERFLOW, 12345
    v = num((d.digits + (0,) * 5)[:max(d.exp, 0)])
    return 0, -v if d.sign == 0 else v


def dectoint(d):
    st, v = dectolong(d)
    return (0, -32768) if d.sign == NULL else (0, v) if st == 0 and -32767 <= v <= 32767 else (OVERFLOW, 12345)


def deccvt(d, nd, mode):  # (text, decpt, sign); -999 for what is not set
    nd = max(nd, 0)
    if d.sign == NULL: return " " * nd, -999, -999
    sign, dp = int(d.sign == 0), d.exp * 2 if d.digits else 0
    t = "".join("%02d" % x for x in d.digits)
    if t[:1] == "0": t, dp = t[1:], dp - 1
    nd += 0 if mode == 0 else dp if mode == 1 else abs(dp)
    if nd < 0: return "", dp, sign
    t = t.ljust(nd, "0")
    if nd < len(t) and t[nd] >= "5":  # half up; a carry out of the first digit moves the point
        t = str(int("0" + t[:nd]) + 1).zfill(nd)
        if len(t) > nd: dp, nd = dp + 1, nd + (mode != 0)
    return t[:nd], dp, sign


def deccvdbl(v, nd=15):
    if v == 0: return 0, ZERO
    m, e = ("%.*e" % (nd - 1, abs(v))).split("e")
    dp = int(e) + 1
    s = (("0" if dp & 1 else "") + m.replace(".", "") + "0")[:32]  # pairs; a last half pair takes a 0
    return decload(int(v > 0), (dp + 1) >> 1, [int(s[i:i + 2]) for i in range(0, len(s), 2)], len(s) // 2)


def value(r): v = CTX.scaleb(Decimal(num(r.digits)), 2 * (r.exp - len(r.digits))); return -v if r.sign == 0 else v


def exact_record(v):  # the normalised record of an exact value, None if it does not fit
    if v == 0: return ZERO
    sign, dig, e = CTX.normalize(v).as_tuple()
    c = int("".join(map(str, dig))) * 10 ** (e & 1)
    e -= e & 1
    b = base100(c, (len(str(c)) + 1) // 2)
    exp = len(b) + e // 2
    return R(1 - sign, exp, tuple(b)) if len(b) <= 16 and -64 <= exp <= 63 else None


def rand_record(rng, special=True):
    k, n, style, e = rng.random(), rng.choice([1, 1, 2, 3, 4, 5, 8, 12, 15, 16, 16, rng.randint(1, 16)]), \
        rng.randrange(20), rng.random()
    if special and k < 0.05: return NUL if k < 0.02 else ZERO
    # nines, a power of 100, few byte values, a divisor that makes the weakest quotient estimate
    d = {0: [99] * n, 1: ([1] + [0] * n)[:n], 2: [rng.choice([1, 9, 10, 50, 99]) for _ in range(n)],
         3: ([1, 0] + [99] * n)[:n]}.get(style) or [rng.randint(0, 99) for _ in range(n)]
    d[0] = d[0] or rng.randint(1, 99)
    if rng.random() < 0.9: d[-1] = d[-1] or rng.randint(1, 99)
    exp = rng.choice([-64, -63, 62, 63]) if e < 0.1 else rng.randint(-4, 6) if e < 0.6 else rng.randint(-64, 63)
    return R(rng.randint(0, 1), exp, tuple(d))


def operands(rng, special=True):  # the second is often close to the first: cancellation, equal exponents
    a, b = rand_record(rng, special), rand_record(rng, special)
    if rng.random() >= 0.3 or not a.digits or a.sign == NULL: return a, b
    d, i = list(a.digits), rng.randrange(len(a.digits))
    if i: d[i], d[-1] = rng.randint(0, 99), d[-1] or 1
    return a, R(b.sign, max(-64, min(63, a.exp + (0 if i else rng.choice([-1, 0, 1])))), tuple(d))


def kvx(d, nd, mode, size):  # into a caller's buffer of `size` bytes, which keeps "-" when it does not fit
    t, dp, sg = deccvt(d, nd, mode)
    return (0, t, dp, sg) if 0 < len(t) + 1 <= size else (NOFIT, "-", dp, sg)


# ---- text in the client's conventions: `point` and `sep` are its decimal point and thousands separator

def deccvasc(text, length, point, sep):
    t = (text + "####")[:max(length, 0)].split("\0")[0]  # the driver puts "####" after the text
    p, n = len(t) - len(t.lstrip(" ")), len(t)
    if p == n: return 0, NUL
    neg = t[p] == "-"
    p += t[p] in "+-"
    at = lambda s: s and t.startswith(s, p)
    if not (t[p:p + 1] in DIGITS or at(point)): return BADNUM, ZERO
    ended = lambda q: t[q:].lstrip(" ")[:1] in ("", "\n")
    if at("0x") or at("0X"):  # 32 bits of hexadecimal, through deccvlong
        h = re.match(r"[0-9a-fA-F]*", t[p + 2:]).group()
        if not ended(p + 2 + len(h)): return BADNUM, ZERO
        v = (-1 if neg else 1) * int(h or "0", 16) & 0xFFFFFFFF
        return deccvlong(v - (v >> 31 << 32))
    digits, points, e10 = "", 0, 0
    while True:
        if at(point):
            points += 1
            if points > 1: return BADNUM, ZERO
            p += len(point)
        elif at(sep):
            if points and sep != " ": return BADNUM, ZERO
            p += len(sep)
        elif t[p:p + 1] == "0" and not digits: e10, p = e10 - (points > 0), p + 1
        elif t[p:p + 1] in DIGITS:  # past 32 digits: dropped, not rounded
            digits, e10, p = (digits + t[p])[:32], e10 + (points == 0), p + 1
        else: break
    if t[p:p + 1] in ("e", "E"):
        m = re.match(r"[-+]?(\d*)", t[p + 1:])
        e10, p = e10 + (int(m.group()) if m.group(1) else 0), p + 1 + len(m.group())
        if not -128 <= e10 <= 126: return BADNUM, ZERO
    if not ended(p): return BADNUM, ZERO
    s = ("0" * (e10 & 1) + digits)[:32]  # pairs from the parity; a half pair takes a 0
    s += "0" * (len(s) & 1)
    st, r = decload(int(not neg), (e10 + 1) >> 1, [int(s[i:i + 2]) for i in range(0, len(s), 2)], len(s) // 2)
    return st, ZERO if st else r  # a failure of the load too leaves the zero record


def decimals(d):  # what a negative `right` becomes
    n = len(d.digits)
    return 1 if not n else max(1, (n - d.exp) * 2 - (d.digits[-1] % 10 == 0))


def dectoexp(d, length, dp, sg, point):  # d.ddde-xx, or None when the overhead alone fills the field
    e = dp - 1
    over = 4 + (e < 0) + sg + (not -99 <= e <= 99)
    if over >= length: return None
    t, dp, _ = deccvt(d, length - over, 0)
    t = t[0] + t[1:].rstrip("0")
    x = dp - 1
    return "-" * sg + t[0] + (point + t[1:] if t[1:] else "") + "e" + "-" * (x < 0) + \
        (str(abs(x) // 100 % 10) if abs(x) > 99 else "") + "%02d" % (abs(x) % 100)


def toasc(d, length, right, point, plain=False):  # dectoasc; dbltoasc when plain
    if d.sign == NULL: return 0, "[%s]" % (" " * length)
    right = decimals(d) if right < 0 else right
    while True:
        t, dp, sg = deccvt(d, right, 2)
        width = sg + right + 1 + (right >= 1) + max(dp - 1, 0)
        if width <= length: break
        excess = width - length
        if dp < -3 or -right >= dp or excess > right and not (right and excess - 1 == right):
            out = dectoexp(d, length, dp, sg, point)
            return (-1, "[%s]" % ("*" * length)) if out is None else (0, "[%s]" % out[:length].ljust(length))
        right = right - excess if excess <= right else 0  # dropping the point saves the last byte
    out = "-" * (sg and (plain or d != ZERO))
    if plain and dp <= 0: t = t.rstrip("0") or "00"
    out, t = (out + t[:dp], t[dp:]) if dp > 0 else (out + "0", t)
    if right >= 1:
        zeros = max(-dp, 0) if plain else min(max(-dp, 0), right)
        out += point + "0" * zeros + (t if plain else t[:right - zeros])
    return 0, "[%s]" % out[:length].ljust(length)


def dectodbl(d, digits=17):  # through text: "0.dd" and an exponent, "dd.dd", or "dd" and an exponent
    if d.sign == NULL: return 0, "nulld" if digits == 17 else "-nan"
    n, e, t = len(d.digits), d.exp, "".join("%02d" % x for x in d.digits)
    t, x = ("0." + t, e * 2) if e < 1 else (t[:2 * e] + "." + t[2 * e:], 0) if e < n else (t, (e - n) * 2)
    v = float("-" * (d.sign == 0) + t + ("E%d" % x if x else ""))
    return 0, "%.*g" % (digits, v if digits == 17 else ctypes.c_float(v).value)


OPS = dict(add=decadd, sub=decsub, mul=decmul, div=decdiv, cmp=deccmp, round=decround, trunc=dectrunc,
           prec=lambda d: (dec2prec(d), decprec(d)), load=lambda s, e, d: decload(s, e, d, len(d)), st=stdecimal,
           ld=lddecimal, cvlong=deccvlong, tolong=dectolong, toint=dectoint, cvdbl=deccvdbl,
           cvflt=lambda x: deccvdbl(x, 8), cvt=deccvt, kvx=kvx)


def fmt(x):  # the driver's text of an argument or a result
    if isinstance(x, R): return text(x)
    return ".".join(map(str, x)) if isinstance(x, list) else "|".join(map(fmt, x)) if isinstance(x, tuple) else str(x)


def make_cases(rng, count):
    cases = []
    for _ in range(count):
        a, b = operands(rng)
        cases += [(op, a, b) for op in ("add", "sub", "mul", "div", "cmp")]
    for _ in range(count // 2):
        a, scale, ln, mode = rand_record(rng), rng.randint(-6, 40), rng.randint(2, 20), rng.randint(0, 2)
        nd = rng.randint(-3, 40) if rng.random() < 0.9 else rng.randint(40, 200)
        cases += [("round", a, scale), ("trunc", a, scale), ("prec", a), ("st", a, ln), ("ld", stdecimal(a, ln), ln),
                  ("cvt", a, nd, mode), ("kvx", a, nd, mode, rng.randint(0, 60)), ("tolong", a), ("toint", a)]
    for _ in range(count // 4):
        digits = [rng.choice([0, 0, 99, rng.randint(0, 99)]) for _ in range(rng.randint(0, 20))]
        v = rng.choice([rng.randint(-2 ** 31, 2 ** 31 - 1), rng.randint(-40000, 40000), -2 ** 31, 2 ** 31 - 1,
                        -32768, -32767, 0])
        # doubles of at most 15 significant digits and floats of at most 8, far from any tie
        x = float("%de%d" % (rng.randint(-10 ** rng.randint(1, 15), 10 ** 15), rng.randint(-140, 110)))
        f = float("%de%d" % (rng.randint(-10 ** 7, 10 ** 7), rng.randint(-40, 30)))
        f = struct.unpack("<f", struct.pack("<f", f))[0]
        # and any double of the decimal range, all 17 digits (ties of 16 digits are rare but exact here)
        y = struct.unpack("<d", struct.pack("<Q", rng.getrandbits(64)))[0]
        y = y if 1e-120 < abs(y) < 1e120 else float("%de%d" % (rng.randint(-10 ** 16, 10 ** 16), rng.randint(-30, 30)))
        t = float("%d.5e%d" % (rng.randint(10 ** 13, 10 ** 14), rng.randint(-5, 5)))  # a 16-digit tie, mostly inexact
        cases += [("load", rng.choice([0, 1, 1, -1]), rng.randint(-70, 70), digits), ("cvlong", v), ("cvdbl", x),
                  ("cvflt", f), ("cvdbl", y), ("cvflt", y), ("cvdbl", t)]
    return [(" ".join(map(fmt, c)), fmt(OPS[c[0]](*c[1:]))) for c in cases]


def rand_text(rng, point, sep):  # numbers in every form, near every bound, and damaged
    ds = lambda k: "".join(rng.choice("0123456789") for _ in range(k))
    k = rng.random()
    if k < 0.06: return rng.choice(["", "   ", point, "-", "+", "e5", "0e200", "1e125", "1e126", "-1e-128", "1e-129",
                                    ds(130), "1" + "0" * rng.randint(120, 130), "0." + "0" * rng.randint(120, 135) + "7",
                                    "0x", "-0x80000000", "0x" + "f" * rng.randint(7, 10), "0x10.5", "1.2.3", " \n"])
    if k < 0.14:
        return "%s0%s%s%s" % (rng.choice(["", "-", "+", " "]), rng.choice("xX"), "".join(
            rng.choice("0123456789abcdefABCDEFg") for _ in range(rng.randint(0, 10))), rng.choice(["", " ", "\n1", "x", " 1"]))
    whole = rng.choice(["", "0", "00", ds(rng.randint(1, 6)), ds(rng.randint(1, 45)), "0" * rng.randint(1, 5) + ds(3)])
    if sep and rng.random() < 0.2: whole = sep.join(whole[i:i + 3] for i in range(0, len(whole), 3)) + sep * (rng.random() < 0.2)
    frac = rng.choice(["", ds(rng.randint(1, 8)), "0" * rng.randint(1, 40) + ds(rng.randint(1, 5)), ds(rng.randint(20, 45))])
    if sep and frac and rng.random() < 0.1: frac = frac[:2] + sep + frac[2:]
    t = " " * rng.choice([0, 0, 0, 1, 3]) + rng.choice(["", "", "-", "+"]) + whole + (point + frac if rng.random() < 0.6 else "")
    if rng.random() < 0.3:
        t += rng.choice("eE") + rng.choice(["", "", "-", "+"]) + str(rng.choice([rng.randint(0, 9), rng.randint(100, 135),
                                                                         rng.randint(0, 300)]))[:rng.randint(0, 3)]
    t += rng.choice(["", "", "", " ", "  ", "\n", "\nxy", "x", " 1", "-", point, ".", ",", "\t", "e"])
    if rng.random() < 0.1:  # one byte changed
        i = rng.randrange(len(t) + 1)
        t = t[:i] + rng.choice(["x", ".", ",", "+", "-", "e", " ", "0", "\t", "\0", "%", "\xb2"]) + t[i + (rng.random() < 0.5):]
    return t


def escape(t): return "".join(c if " " <= c <= "~" and c != "%" else "%%%02X" % ord(c) for c in t)


# 1234.5678, -0.04, -0.000123, 0.001234, carries out of the first digit, exponents of 99, 100 and 101 and their negatives
EDGES = [R(1, 2, (12, 34, 56, 78)), R(0, 0, (4,)), R(0, -1, (1, 23)), R(1, 1, (99, 99, 50)), R(0, 0, (99, 96)),
         R(1, 50, (10,)), R(1, 51, (1, 99)), R(0, 51, (10, 1)), R(1, -49, (1,)), R(0, -49, (10,)), R(1, -50, (99, 99)),
         R(1, 63, (99,) * 16), R(0, -64, (1,)), R(1, -1, (12, 34))]


def make_text_cases(rng, count, point, sep):
    cases = [("lconv", "%s|%s" % (point, sep))]
    for _ in range(count):
        t = rand_text(rng, point, sep)
        n = max(0, len(t) + (rng.choice([-3, -2, -1, 1, 2, 5]) if rng.random() < 0.1 else 0))
        cases.append(("asc %d %s" % (n, escape(t)), fmt(deccvasc(t, n, point, sep))))
    fields = [(d, n, right) for d in EDGES for n in range(16) for right in (-1, 2)]  # every width of the edges
    for _ in range(count // 2):
        d = rand_record(rng)
        fields.append((d._replace(exp=rng.randint(-3, 4)) if d.digits and rng.random() < 0.3 else d,  # mostly fixed
                       rng.randint(0, 30), rng.choice([-1, -1, 0, rng.randint(0, 6), rng.randint(0, 40)])))
    for d, n, right in fields:
        cases += [("toasc %s %d %d" % (text(d), n, right), fmt(toasc(d, n, right, point))),
                  ("dbltoasc %s %d %d" % (text(d), n, right), fmt(toasc(d, n, right, point, True))),
                  ("todbl " + text(d), fmt(dectodbl(d))), ("toflt " + text(d), fmt(dectodbl(d, 9)))]
    return cases


def self_check(rng, count):  # the model against exact arithmetic, wherever the exact result fits a record
    bad = []
    for _ in range(count):
        (a, b), scale, nd = operands(rng, False), rng.randint(-6, 40), rng.randint(0, 30)
        va, vb = value(a), value(b)
        order, q = (va > vb) - (va < vb), va / vb if vb else None
        for f, v in ((decadd, va + vb), (decsub, va - vb), (decmul, va * vb),
                     (decdiv, q if q and q * vb == va else None)):
            if v is not None and exact_record(v) and f(a, b) != (0, exact_record(v)): bad.append((f.__name__, a, b))
        if deccmp(a, b) != order: bad.append(("deccmp", a, b))
        for fn, mode in ((decround, decimal.ROUND_HALF_UP), (dectrunc, decimal.ROUND_DOWN)):
            v = va.quantize(Decimal(1).scaleb(-scale), rounding=mode)  # only sums inside the range count
            if exact_record(v) is None or fn is decround and value(decadd(a, R(a.sign, -(scale >> 1), (
                    5 if scale & 1 else 50,)))[1]) != va + Decimal(5 if a.sign else -5).scaleb(-scale - 1): continue
            if (fn(a, scale) != exact_record(v)) if a.digits[-1] else (value(fn(a, scale)) != v):  # zero bytes may stay
                bad.append((fn.__name__, a, scale))
        _, dig, e = va.normalize().as_tuple()
        if a.digits[-1] and dec2prec(a) != (len(dig) * 256 - e if e <= 0 else (len(dig) + e) * 256):
            bad.append(("prec", a))
        sa, sb = stdecimal(a, 17), stdecimal(b, 17)  # store forms order like the values and read back
        if (sa[0] | sa[1]) and (sb[0] | sb[1]) and ((sa > sb) - (sa < sb) != order
                                                    or a.digits[-1] and lddecimal(sa, 17)[1] != a):
            bad.append(("store", a, b))
        t, dp, sg = deccvt(a, nd, 1)  # fixed places round half up
        want = abs(va).quantize(Decimal(1).scaleb(-nd), rounding=decimal.ROUND_HALF_UP)
        if t and nd + dp > 0 and (Decimal("0." + t).scaleb(dp) != want or sg != (va < 0)): bad.append(("fcvt", a, nd))
        st, v = dectolong(a)
        if (st == 0 and v != int(va)) or (st != 0 and -2 ** 31 < va < 2 ** 31): bad.append(("tolong", a))
        v = CTX.scaleb(Decimal(rng.randint(-10 ** rng.randint(1, 30), 10 ** 30)), rng.randint(-140, 140))
        for t in ("  " + format(v, "f") + " \n", str(v).lower()):  # text of at most 31 digits reads exactly
            if exact_record(v) and (abs(v) > Decimal("1e-128") or "e" not in t) and deccvasc(
                    t.replace(".", ","), len(t), ",", "") != (0, exact_record(v)): bad.append(("deccvasc", t))
    return bad


def run(driver, cases, env):  # the mismatches, or why the driver failed
    proc = subprocess.run([driver], input="".join(c + "\n" for c, _ in cases), capture_output=True, text=True,
                          env=env, encoding="latin-1")
    got = proc.stdout.splitlines()
    if proc.returncode != 0 or len(got) != len(cases):
        return ["driver status %d, %d of %d lines: %s" % (proc.returncode, len(got), len(cases), proc.stderr)]
    return ["%s\n  model   %s\n  library %s" % (c, w, h) for (c, w), h in zip(cases, got) if w != h]


def main():
    opt = dict(zip(sys.argv[1::2], sys.argv[2::2]))
    rng, count = random.Random(int(opt.get("--seed", 20240611))), int(opt.get("--count", 3000))
    bad = self_check(rng, count)
    if bad: return print("model disagrees with exact arithmetic in %d cases: %s" % (len(bad), bad[:20])) or 1
    cases, kel = make_cases(rng, count), opt.get("--kelvanix")
    kel = kel if kel and os.path.exists(os.path.join(kel, "vls/cm3/registry")) else None  # locales not built
    with tempfile.TemporaryDirectory() as home:  # start-up from KELVANIXDIR alone: the client locale is en_US
        env = {k: v for k, v in os.environ.items() if k == "PATH" or k.startswith(("LD_", "QEMU_", "ASAN_", "UBSAN_"))}
        env["HOME"] = home
        runs = [(env, cases)]
        if kel:
            env["KELVANIXDIR"] = kel
            cases += make_text_cases(rng, count, ".", ",")
            runs.append((dict(env, DBMONEY=","), make_text_cases(rng, count // 4, ",", ".")))  # the point swapped
        bad = [b for e, c in runs for b in run(opt["--driver"], c, e)]
    print("%d operations%s, %d mismatches\n%s" % (sum(len(c) for _, c in runs), "" if kel else
          " (no locales: text in the client's conventions left out)", len(bad), "\n".join(bad[:30])))
    return 1 if bad else 0


if __name__ == "__main__": sys.exit(main())
