#!/usr/bin/env python3
"""Reference model of the decimal record and its arithmetic.

The model follows the documented algorithms step by step (base-100 digit
bytes, the 17-byte frame of addition, 18 estimated quotient bytes with a
single correction, rounding on the 17th byte, the packed store form).  It
is itself checked against Python's decimal module wherever the exact
result fits in the record, and then compared with the library through a
small driver program that reads operations on stdin.

Usage: decmodel.py --driver PATH [--seed N] [--count N]
"""

import argparse
import decimal
import random
import struct
import subprocess
import sys
from decimal import Decimal

NULL_SIGN = 0xFFFF
OVERFLOW, UNDERFLOW, DIVZERO = -1200, -1201, -1202

CTX = decimal.Context(prec=400, Emin=-999999, Emax=999999)
decimal.setcontext(CTX)


class Rec:
    """A record: sign, exponent and the digit_count meaningful bytes."""

    __slots__ = ("sign", "exp", "digits")

    def __init__(self, sign, exp, digits):
        self.sign = sign
        self.exp = exp
        self.digits = list(digits)

    def text(self):
        return "%d,%d,%s" % (self.sign, self.exp, "".join("%02x" % d for d in self.digits))

    def copy(self):
        return Rec(self.sign, self.exp, self.digits)

    def __repr__(self):
        return "Rec(%s)" % self.text()


def null():
    return Rec(NULL_SIGN, 0, [])


def zero():
    return Rec(1, -64, [])


def is_null(r):
    return r.sign == NULL_SIGN


# ---- normalisation ----------------------------------------------------------

def decload(sign, exp, digits, count):
    if sign == -1:
        return 0, null()
    d = list(digits[:count])
    while count > 0 and d[count - 1] == 0:
        count -= 1
    start = 0
    if count > 0:
        while d[start] == 0:
            start += 1
            count -= 1
            exp -= 1
    d = d[start:start + count]
    if count > 16:
        buf = [0] + d[:16]
        if d[16] > 49:
            i = 16
            while True:
                buf[i] += 1
                if buf[i] == 100:
                    buf[i] = 0
                    i -= 1
                else:
                    break
        if buf[0] != 0:
            exp += 1
            d = buf[:16]
        else:
            d = buf[1:17]
        count = 16
    if count < 1:
        return 0, zero()
    if exp < -64:
        return UNDERFLOW, Rec(sign, -64, d)
    if exp > 63:
        return OVERFLOW, Rec(sign, 63, d)
    return 0, Rec(sign, exp, d)


# ---- comparison ---------------------------------------------------------------

def bycmpr(a, b, n):
    for i in range(n):
        if a[i] != b[i]:
            return -1 if a[i] < b[i] else 1
    return 0


def deccmp(a, b):
    if a.sign == NULL_SIGN or b.sign == NULL_SIGN:
        return -2
    more = 1 if a.sign != 0 else -1
    less = -more
    if a.sign != b.sign:
        return more
    an, bn = len(a.digits), len(b.digits)
    if an == 0:
        return 0 if bn == 0 else less
    if bn == 0:
        return more
    if a.exp < b.exp:
        return less
    if a.exp > b.exp:
        return more
    r = bycmpr(a.digits, b.digits, min(an, bn))
    if r != 0 or an == bn:
        return r if a.sign != 0 else -r
    return less if an < bn else more


# ---- addition and subtraction ---------------------------------------------------

def decadsb(big, small, subtract):
    shift = big.exp - small.exp
    sn, bn = len(small.digits), len(big.digits)
    width = min(max(sn + shift, bn), 17) + 1
    work = [0] * width
    work[1:1 + bn] = big.digits
    n = min(sn, width - shift - 1)
    carry = 0
    if n >= 1:
        for k in range(n - 1, -1, -1):
            pos = 1 + shift + k
            v = work[pos] + (-small.digits[k] if subtract else small.digits[k]) + carry
            carry = 0
            while v > 99:
                v -= 100
                carry += 1
            while v < 0:
                v += 100
                carry -= 1
            work[pos] = v
        pos = shift
        while carry != 0 and pos >= 0:
            if carry > 0:
                work[pos] += 1
                if work[pos] == 100:
                    work[pos] = 0
                    pos -= 1
                else:
                    carry = 0
            else:
                if work[pos] == 0:
                    work[pos] = 99
                    pos -= 1
                else:
                    work[pos] -= 1
                    carry = 0
    return decload(big.sign, big.exp + 1, work, width)


def decadd(a, b):
    if is_null(a) or is_null(b):
        return 0, null()
    ca, cb = a.copy(), b.copy()
    ca.sign = cb.sign = 1
    subtract = a.sign != b.sign
    if deccmp(ca, cb) < 0:
        return decadsb(b, a, subtract)
    return decadsb(a, b, subtract)


def decsub(a, b):
    if is_null(a) or is_null(b):
        return 0, null()
    c = b.copy()
    c.sign = 1 if c.sign == 0 else 0
    return decadd(a, c)


# ---- multiplication and division ---------------------------------------------------

def decmul(a, b):
    if is_null(a) or is_null(b):
        return 0, null()
    an, bn = len(a.digits), len(b.digits)
    work = [0] * (an + bn)
    for i in range(an - 1, -1, -1):
        for j in range(bn - 1, -1, -1):
            p = a.digits[i] * b.digits[j]
            if p == 0:
                continue
            pos = i + j + 1
            while p:
                v = work[pos] + p
                work[pos] = v % 100
                p = v // 100
                pos -= 1
    s = 1 if a.sign == b.sign else 0
    return decload(s, a.exp + b.exp, work, an + bn)


def decdiv(a, b):
    if is_null(a) or is_null(b):
        return 0, null()
    bn = len(b.digits)
    if bn == 0:
        return DIVZERO, zero()
    rem = [0] * 36
    rem[1:1 + len(a.digits)] = a.digits
    div = [0] + b.digits
    est = b.digits[0] * 100 + (b.digits[1] if bn > 1 else 0)
    quotient = []
    for i in range(18):
        q = (rem[i] * 10000 + rem[i + 1] * 100 + rem[i + 2]) // est
        if q != 0:
            borrow = 0
            for k in range(bn, -1, -1):
                t = rem[i + k] - q * div[k] + borrow + 10000
                assert t >= 0
                rem[i + k] = t % 100
                borrow = t // 100 - 100
            if borrow < 0:
                q -= 1
                carry = 0
                for k in range(bn, -1, -1):
                    t = rem[i + k] + div[k] + carry
                    rem[i + k] = t % 100
                    carry = t // 100
        quotient.append(q)
    s = 1 if a.sign == b.sign else 0
    return decload(s, a.exp - b.exp + 1, quotient, 18)


# ---- rounding, truncation, precision ---------------------------------------------------

def dectrunc(d, scale):
    d = d.copy()
    keep = d.exp + ((scale + 1) >> 1)
    if len(d.digits) < keep:
        return d
    if keep >= 1:
        if scale & 1:
            d.digits[keep - 1] = d.digits[keep - 1] // 10 * 10
            if d.digits[keep - 1] == 0:
                keep -= 1
        while keep > 0 and d.digits[keep - 1] == 0:
            keep -= 1
        if keep > 0:
            d.digits = d.digits[:keep]
            return d
    z = zero()
    return z


def decround(d, scale):
    if is_null(d) or (len(d.digits) - d.exp) * 2 <= scale:
        return d.copy()
    half = Rec(d.sign, -(scale >> 1), [5 if scale & 1 else 50])
    _, s = decadd(d, half)
    return dectrunc(s, scale)


def dec2prec(d):
    n = len(d.digits)
    if n == 0 or is_null(d):
        return 0
    precision = n * 2
    scale = (n - d.exp) * 2
    if d.digits[-1] % 10 == 0:
        precision -= 1
        scale -= 1
    if d.digits[0] <= 9:
        precision -= 1
    if scale >= 0:
        return precision * 256 + scale
    return (precision - scale) * 256


def decprec(d):
    p = dec2prec(d)
    hi, lo = p >> 8, p & 0xFF
    return max(hi, lo) * 256 + lo


# ---- store form -----------------------------------------------------------------------

def deccomplement(b):
    b = list(b)
    i = len(b) - 1
    while i >= 0 and b[i] == 0:
        i -= 1
    if i < 0:
        return b
    b[i] = 100 - b[i]
    for j in range(i - 1, -1, -1):
        b[j] = 99 - b[j]
    return b


def stdecimal(d, length):
    if is_null(d):
        return [0] * length
    out = [0] * length
    out[0] = (d.exp + 64) & 0x7F
    n = length - 1
    dc = len(d.digits)
    for i in range(min(n, dc)):
        out[1 + i] = d.digits[i]
    if dc > n >= 1 and d.digits[n] > 49:
        i = n
        while i >= 1:
            out[i] += 1
            if out[i] == 100:
                out[i] = 0
                i -= 1
            else:
                break
        if i < 1:
            out[1] = 1
            out[0] += 1
    if d.sign == 0 and dc != 0:
        out[1:] = deccomplement(out[1:])
        out[0] ^= 0x7F
    else:
        out[0] |= 0x80
    return [x & 0xFF for x in out]


def lddecimal(b, length):
    b = list(b) + [0] * 40
    if b[0] == 0 and b[1] == 0:
        return 0, null()
    n = min(length, 18) - 1
    copy = b[1:1 + n]
    expbyte = b[0]
    positive = 1 if b[0] & 0x80 else 0
    if not positive:
        expbyte ^= 0x7F
        copy = deccomplement(copy)
    return decload(positive, (expbyte & 0x7F) - 64, copy, n)


# ---- integers and digit strings --------------------------------------------------------------

def deccvlong(v):
    if v == -2147483648:
        return 0, null()
    m = abs(v)
    digits = []
    for _ in range(5):
        digits.insert(0, m % 100)
        m //= 100
    return decload(0 if v < 0 else 1, 5, digits, 5)


LARGEST = Rec(1, 5, [21, 47, 48, 36, 47])
SMALLEST = Rec(0, 5, [21, 47, 48, 36, 47])


def dectolong(d):
    if is_null(d):
        return 0, -2147483648
    if d.exp > 5:
        return OVERFLOW, 12345
    if d.exp == 5 and (deccmp(d, LARGEST) > 0 or deccmp(d, SMALLEST) < 0):
        return OVERFLOW, 12345
    v = 0
    for i in range(d.exp):
        v = v * 100 + (d.digits[i] if i < len(d.digits) else 0)
    return 0, (-v if d.sign == 0 else v)


def dectoint(d):
    if is_null(d):
        return 0, -32768
    st, v = dectolong(d)
    if st != 0 or v < -32767 or v > 32767:
        return OVERFLOW, 12345
    return 0, v


def deccvt(d, ndigit, mode):
    """Returns (text, decpt, sign); decpt and sign None when not set."""
    if ndigit < 0:
        ndigit = 0
    if is_null(d):
        return " " * ndigit, None, None
    sign = 1 if d.sign == 0 else 0
    decpt = 0 if len(d.digits) == 0 else d.exp * 2
    text = "".join("%02d" % x for x in d.digits)
    if text.startswith("0"):
        text = text[1:]
        decpt -= 1
    if mode != 0:
        ndigit += decpt if mode == 1 else abs(decpt)
    if ndigit < 0:
        return "", decpt, sign
    t = list(text)
    count = len(t)
    if ndigit > count:
        t += ["0"] * (ndigit - count)
    elif ndigit < count and t[ndigit] >= "5":
        i = ndigit - 1
        while i >= 0 and t[i] == "9":
            t[i] = "0"
            i -= 1
        if i >= 0:
            t[i] = chr(ord(t[i]) + 1)
        else:
            decpt += 1
            if mode != 0:
                t[ndigit] = "0"
                ndigit += 1
            t[0] = "1"
    return "".join(t[:ndigit]), decpt, sign


def deccvdbl(v, ndigit=15):
    if v == 0.0:
        return 0, zero()
    s = "%.*e" % (ndigit - 1, abs(v))
    mant, e = s.split("e")
    digits = mant.replace(".", "")
    decpt = int(e) + 1
    parity = decpt & 1
    packed = []
    pos = parity
    for c in digits:
        if pos >= 32:
            break
        if pos % 2 == 0:
            packed.append(int(c) * 10)
        elif pos == parity:
            packed.append(int(c))
        else:
            packed[-1] += int(c)
        pos += 1
    return decload(0 if v < 0 else 1, (decpt + 1) >> 1, packed, len(packed))


# ---- exact values ----------------------------------------------------------------------------------

def value(r):
    if len(r.digits) == 0:
        return Decimal(0)
    c = 0
    for x in r.digits:
        c = c * 100 + x
    v = CTX.multiply(Decimal(c), CTX.power(Decimal(100), r.exp - len(r.digits)))
    return -v if r.sign == 0 else v


def exact_record(v):
    """The normalised record of an exact value, or None if it does not fit."""
    if v == 0:
        return zero()
    sign, dig, e = CTX.normalize(v).as_tuple()
    c = int("".join(map(str, dig)))
    if e % 2:
        c *= 10
        e -= 1
    b = []
    while c:
        b.insert(0, c % 100)
        c //= 100
    while b and b[-1] == 0:
        b.pop()
        e += 2
    exp = len(b) + e // 2
    if len(b) > 16 or exp < -64 or exp > 63:
        return None
    return Rec(0 if sign else 1, exp, b)


# ---- operand generation ----------------------------------------------------------------------------

def rand_record(rng, allow_special=True):
    if allow_special:
        k = rng.random()
        if k < 0.02:
            return null()
        if k < 0.05:
            return zero()
    n = rng.choice([1, 1, 2, 3, 4, 5, 8, 12, 15, 16, 16, rng.randint(1, 16)])
    style = rng.random()
    if style < 0.1:
        digits = [99] * n
    elif style < 0.15:
        digits = [1] + [0] * (n - 1)
        if n > 1:
            digits[-1] = rng.randint(1, 99)
    elif style < 0.2:
        digits = [rng.choice([1, 9, 10, 50, 99]) for _ in range(n)]
    elif style < 0.25:
        # Leading bytes 1, 0 make the weakest quotient estimate.
        digits = ([1, 0] + [99] * n)[:n]
    else:
        digits = [rng.randint(0, 99) for _ in range(n)]
    digits[0] = digits[0] or rng.randint(1, 99)
    if rng.random() < 0.9:
        digits[-1] = digits[-1] or rng.randint(1, 99)
    e = rng.random()
    if e < 0.1:
        exp = rng.choice([-64, -63, 62, 63])
    elif e < 0.6:
        exp = rng.randint(-4, 6)
    else:
        exp = rng.randint(-64, 63)
    return Rec(rng.randint(0, 1), exp, digits)


def near(rng, a):
    """An operand close to a, to provoke cancellation and equal exponents."""
    if is_null(a) or not a.digits:
        return rand_record(rng)
    b = a.copy()
    b.sign = rng.randint(0, 1)
    if rng.random() < 0.5 and len(b.digits) > 1:
        i = rng.randrange(1, len(b.digits))
        b.digits[i] = rng.randint(0, 99)
        if b.digits[-1] == 0:
            b.digits[-1] = 1
    else:
        b.exp += rng.choice([-1, 0, 1])
        b.exp = max(-64, min(63, b.exp))
    return b


def make_cases(rng, count):
    cases = []  # (line, expected text, description)

    def add(line, expected):
        cases.append((line, expected))

    def out(st, r):
        return "%d %s" % (st, r.text())

    ops = {"add": decadd, "sub": decsub, "mul": decmul, "div": decdiv}
    for _ in range(count):
        a = rand_record(rng)
        b = near(rng, a) if rng.random() < 0.3 else rand_record(rng)
        for name, fn in ops.items():
            add("%s %s %s" % (name, a.text(), b.text()), out(*fn(a, b)))
        add("cmp %s %s" % (a.text(), b.text()), str(deccmp(a, b)))
    for _ in range(count // 2):
        a = rand_record(rng)
        scale = rng.randint(-6, 40)
        add("round %s %d" % (a.text(), scale), decround(a, scale).text())
        add("trunc %s %d" % (a.text(), scale), dectrunc(a, scale).text())
        add("prec %s" % a.text(), "%d %d" % (dec2prec(a), decprec(a)))
        length = rng.randint(2, 20)
        st = stdecimal(a, length)
        add("st %s %d" % (a.text(), length), "".join("%02x" % x for x in st))
        add("ld %s %d" % ("".join("%02x" % x for x in st), length), out(*lddecimal(st, length)))
        nd = rng.randint(-3, 40)
        mode = rng.randint(0, 2)
        text, dp, sg = deccvt(a, nd, mode)
        add("cvt %s %d %d" % (a.text(), nd, mode),
            "%s|%d|%d" % (text, -999 if dp is None else dp, -999 if sg is None else sg))
        size = rng.randint(0, 40)
        kst = 0 if size != 0 and len(text) < size else -1273
        add("kvx %s %d %d %d" % (a.text(), nd, mode, size),
            "%d|%s|%d|%d" % (kst, text if kst == 0 else "-", -999 if dp is None else dp,
                             -999 if sg is None else sg))
        add("tolong %s" % a.text(), "%d %d" % dectolong(a))
        add("toint %s" % a.text(), "%d %d" % dectoint(a))
    for _ in range(count // 4):
        n = rng.randint(0, 20)
        digits = [rng.choice([0, 0, 99, rng.randint(0, 99)]) for _ in range(n)]
        sign = rng.choice([0, 1, 1, -1])
        exp = rng.randint(-70, 70)
        add("load %d %d %s" % (sign, exp, "".join("%02x" % x for x in digits)),
            out(*decload(sign, exp, digits, n)))
        v = rng.choice([rng.randint(-2147483648, 2147483647), rng.randint(-40000, 40000),
                        -2147483648, 2147483647, -32768, -32767, 0])
        add("cvlong %d" % v, out(*deccvlong(v)))
        # Doubles with at most 15 significant digits, far from any tie.
        mant = rng.randint(1, 10 ** rng.randint(1, 15))
        x = float("%de%d" % (mant, rng.randint(-140, 110)))
        if rng.random() < 0.5:
            x = -x
        bits = struct.unpack("<Q", struct.pack("<d", x))[0]
        add("cvdbl %016x" % bits, out(*deccvdbl(x)))
    return cases


# ---- checking the model against the decimal module ---------------------------------------------------

def self_check(rng, count):
    bad = 0

    def fail(msg):
        nonlocal bad
        bad += 1
        if bad <= 20:
            print("model mismatch:", msg)

    for _ in range(count):
        a = rand_record(rng, allow_special=False)
        b = near(rng, a) if rng.random() < 0.3 else rand_record(rng, allow_special=False)
        va, vb = value(a), value(b)
        exact = {"add": CTX.add(va, vb), "sub": CTX.subtract(va, vb), "mul": CTX.multiply(va, vb)}
        if vb != 0:
            q = CTX.divide(va, vb)
            if CTX.multiply(q, vb) == va:
                exact["div"] = q
        for name, v in exact.items():
            want = exact_record(v)
            if want is None:
                continue
            st, got = {"add": decadd, "sub": decsub, "mul": decmul, "div": decdiv}[name](a, b)
            if st != 0 or got.text() != want.text():
                fail("%s %s %s: %s %s, exact %s" % (name, a, b, st, got, want))
        c = deccmp(a, b)
        order_ab = (va > vb) - (va < vb)
        if c != order_ab:
            fail("cmp %s %s: %d, exact %d" % (a, b, c, order_ab))
        scale = rng.randint(-6, 40)
        q = Decimal(1).scaleb(-scale)
        for name, fn, mode in (("round", decround, decimal.ROUND_HALF_UP),
                               ("trunc", dectrunc, decimal.ROUND_DOWN)):
            v = va.quantize(q, rounding=mode, context=CTX)
            want = exact_record(v)
            if want is None:
                continue
            got = fn(a, scale)
            if name == "round":
                # The sum inside may leave the range; only in-range results count.
                _, s = decadd(a, Rec(a.sign, -(scale >> 1), [5 if scale & 1 else 50]))
                if value(s) != CTX.add(va, Decimal(5 if a.sign else -5).scaleb(-scale - 1)):
                    continue
            # An operand that keeps zero bytes at its end may keep them.
            same = got.text() == want.text() if a.digits[-1] != 0 else value(got) == v
            if not same:
                fail("%s %s %d: %s, exact %s" % (name, a, scale, got, want))
        # Precision and scale of the shortest exact decimal form.
        if a.digits[-1] != 0:
            s, dig, e = CTX.normalize(va).as_tuple()
            p = (len(dig), -e) if e <= 0 else (len(dig) + e, 0)
            if dec2prec(a) != p[0] * 256 + p[1]:
                fail("prec %s: %d, exact %s" % (a, dec2prec(a), p))
        # Store forms order like the values, and read back.
        length = 17
        sa, sb = stdecimal(a, length), stdecimal(b, length)
        if sa[0] | sa[1] and sb[0] | sb[1]:
            order = (sa > sb) - (sa < sb)
            if order != order_ab:
                fail("store order %s %s" % (a, b))
            st, back = lddecimal(sa, length)
            if a.digits[-1] != 0 and back.text() != a.text():
                fail("store round trip %s: %s" % (a, back))
        # Digit strings: fixed places round half up.
        nd = rng.randint(0, 30)
        text, dp, sg = deccvt(a, nd, 1)
        if text and nd + dp > 0 and len(a.digits) * 2 - 1 <= 32:
            shown = Decimal("0." + text).scaleb(dp)
            wantv = abs(va).quantize(Decimal(1).scaleb(-nd), rounding=decimal.ROUND_HALF_UP,
                                     context=CTX)
            if shown != wantv or sg != (1 if va < 0 else 0):
                fail("fcvt %s %d: %s %d, exact %s" % (a, nd, text, dp, wantv))
        # Integers.
        st, v = dectolong(a)
        t = int(va)
        if st == 0 and v != t:
            fail("tolong %s: %d, exact %d" % (a, v, t))
        if st != 0 and -2147483647 <= va <= 2147483647:
            fail("tolong %s: overflow" % a)
    for v in (0, 1, -1, 99, 100, -2147483647, 2147483647, 123456789, -32767):
        st, r = deccvlong(v)
        if st != 0 or value(r) != v:
            fail("cvlong %d: %s" % (v, r))
    return bad


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--driver", required=True)
    ap.add_argument("--seed", type=int, default=20240611)
    ap.add_argument("--count", type=int, default=3000)
    args = ap.parse_args()

    rng = random.Random(args.seed)
    bad = self_check(rng, args.count)
    if bad:
        print("model disagrees with exact arithmetic in %d cases" % bad)
        return 1

    cases = make_cases(rng, args.count)
    data = "".join(line + "\n" for line, _ in cases)
    proc = subprocess.run([args.driver], input=data, capture_output=True, text=True, timeout=300)
    if proc.returncode != 0:
        print("driver failed with status %d: %s" % (proc.returncode, proc.stderr))
        return 1
    got = proc.stdout.splitlines()
    if len(got) != len(cases):
        print("driver answered %d of %d lines" % (len(got), len(cases)))
        return 1
    mismatches = 0
    for (line, want), have in zip(cases, got):
        if want != have:
            mismatches += 1
            if mismatches <= 30:
                print("MISMATCH %s\n  model   %s\n  library %s" % (line, want, have))
    print("%d operations, %d mismatches" % (len(cases), mismatches))
    return 1 if mismatches else 0


if __name__ == "__main__":
    sys.exit(main())
