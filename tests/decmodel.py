#!/usr/bin/env python3
"""Reference model of the decimal record, checked against Python's decimal module wherever the exact
result fits a record, then against the library: decmodel.py --driver PATH [--seed N] [--count N]"""
import decimal, random, struct, subprocess, sys
from collections import namedtuple
from decimal import Decimal

NULL, OVERFLOW, UNDERFLOW, DIVZERO, NOFIT = 0xFFFF, -1200, -1201, -1202, -1273
CTX = decimal.Context(prec=400, Emin=-999999, Emax=999999)
decimal.setcontext(CTX)
R = namedtuple("R", "sign exp digits")
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
    return bad


def main():
    opt = dict(zip(sys.argv[1::2], sys.argv[2::2]))
    rng, count = random.Random(int(opt.get("--seed", 20240611))), int(opt.get("--count", 3000))
    bad = self_check(rng, count)
    if bad: return print("model disagrees with exact arithmetic in %d cases: %s" % (len(bad), bad[:20])) or 1
    cases = make_cases(rng, count)
    proc = subprocess.run([opt["--driver"]], input="".join(c + "\n" for c, _ in cases), capture_output=True, text=True)
    got = proc.stdout.splitlines()
    if proc.returncode != 0 or len(got) != len(cases):
        return print("driver status %d, %d of %d lines: %s" % (proc.returncode, len(got), len(cases), proc.stderr)) or 1
    bad = ["%s\n  model   %s\n  library %s" % (c, w, h) for (c, w), h in zip(cases, got) if w != h]
    print("%d operations, %d mismatches\n%s" % (len(cases), len(bad), "\n".join(bad[:30])))
    return 1 if bad else 0


if __name__ == "__main__": sys.exit(main())
