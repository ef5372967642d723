"""Exchanges random documents with Python's plistlib and json, both ways, and compares values and their kinds.

Usage: format_interop.py FORMAT_FILTER [FIRST_SEED]
"""

import base64
import datetime
import json
import math
import plistlib
import random
import subprocess
import sys

DOCUMENTS = 300
DAMAGED = 6000


def random_text(rng):
    pieces = ["a", "enabled", "scheduledScanInterval", " ", "\n", "\t", "<dict>", "&amp;", "]]>", '"', "'", "\\u0041",
              "é", "€", "😀", "\x7f", "\ufffd", "\ufeff", "/", "x" * 40]
    return "".join(rng.choice(pieces) for _ in range(rng.randrange(6)))


def random_value(rng, only_json, nesting=4):
    kind = rng.randrange(9 if nesting else 6)
    if kind == 0:
        return rng.random() < 0.5
    if kind == 1:
        return rng.randrange(-2**63, 2**64) >> rng.randrange(64)
    if kind == 2:
        return rng.choice([rng.uniform(-10, 10), float(rng.randrange(-9, 9)), rng.random() * 10.0**rng.randrange(-300, 300)])
    if kind == 3 and not only_json:
        if rng.random() < 0.5:
            return rng.randbytes(rng.randrange(70))
        return datetime.datetime(2000, 1, 1) + datetime.timedelta(seconds=rng.randrange(10**9))
    if kind < 6:
        return random_text(rng)
    if kind < 8:
        return {random_text(rng): random_value(rng, only_json, nesting - 1) for _ in range(rng.randrange(6))}
    return [random_value(rng, only_json, nesting - 1) for _ in range(rng.randrange(6))]


def as_read_by_us(value):
    """Dates and data become strings."""
    if isinstance(value, datetime.datetime):
        return value.strftime("%Y-%m-%dT%H:%M:%SZ")
    if isinstance(value, bytes):
        return base64.b64encode(value).decode()
    if isinstance(value, dict):
        return {key: as_read_by_us(inner) for key, inner in value.items()}
    if isinstance(value, list):
        return [as_read_by_us(inner) for inner in value]
    return value


def same(left, right):
    """Equal in value and kind: 1, 1.0 and True all differ."""
    if type(left) is not type(right):
        return False
    if isinstance(left, dict):
        return left.keys() == right.keys() and all(same(left[key], right[key]) for key in left)
    if isinstance(left, list):
        return len(left) == len(right) and all(map(same, left, right))
    return left == right


def filtered(program, source, target, documents):
    """What the program makes of each document: bytes, or None where it refuses."""
    framed = b"".join(b"%d\n%s" % (len(document), document) for document in documents)
    output = subprocess.run([program, source, target], input=framed, stdout=subprocess.PIPE, check=True).stdout
    results, at = [], 0
    for _ in documents:
        end = output.index(b"\n", at)
        head, at = output[at:end], end + 1
        if head == b"refused":
            results.append(None)
        else:
            results.append(output[at:at + int(head)])
            at += int(head)
    return results


def dumped(format_name, value):
    if format_name == "plist":
        return plistlib.dumps(value, fmt=plistlib.FMT_XML)
    # Escapes in half of the documents, UTF-8 as it stands in the others.
    return json.dumps(value, ensure_ascii=len(repr(value)) % 2 == 0).encode()


def loaded(format_name, text):
    return plistlib.loads(text) if format_name == "plist" else json.loads(text)


def check_exchange(program, first_seed):
    for source in "plist", "json":
        seeds = range(first_seed, first_seed + DOCUMENTS)
        values = [{"common": random_value(random.Random(seed), source == "json")} for seed in seeds]
        for target in "plist", "json":
            results = filtered(program, source, target, [dumped(source, value) for value in values])
            for seed, value, result in zip(seeds, values, results):
                expected = as_read_by_us(value)
                if result is None or not same(loaded(target, result), expected):
                    sys.exit(f"seed {seed}, {source} to {target}: {expected!r} became {result!r}")


def damaged(rng, text, alphabet):
    text = bytearray(text)
    for _ in range(rng.randrange(1, 4)):
        at = rng.randrange(len(text))
        length = rng.randrange(3)
        text[at:at + length] = bytes(rng.choices(alphabet, k=rng.randrange(3)))
    return bytes(text)


def refuse_constant(name):
    raise ValueError(name)


def finite(text):
    number = float(text)
    if math.isinf(number):
        raise ValueError(text)
    return number


def integer(text):
    number = int(text)
    return number if -2**63 <= number < 2**64 else finite(text)


def strictly_loaded_json(text):
    """What RFC 8259 and our limits make of the text; None where they refuse."""
    try:
        value = json.loads(text.decode(), parse_constant=refuse_constant, parse_float=finite, parse_int=integer)
        json.dumps(value, ensure_ascii=False).encode()  # a lone surrogate cannot be encoded
        return value
    except (ValueError, UnicodeError):
        return None


def check_damaged(program, first_seed):
    """What is refused and accepted agrees with Python's strict reading; of property lists Python accepts more."""
    seeds = range(first_seed, first_seed + DAMAGED)
    texts = {"json": [], "plist": []}
    for seed in seeds:
        rng = random.Random(seed)
        value = {"common": random_value(rng, True, 3)}
        texts["json"].append(damaged(rng, json.dumps(value).encode(), b'{}[]:,"\\ue0-1.t\x80\xc3\xa9\n '))
        value = {"common": random_value(rng, False, 3)}
        texts["plist"].append(damaged(rng, dumped("plist", value), b"<>/!?-&;#x[]'\"=1kad \r\n\x80\xc3\xa9"))

    accepted = 0
    for seed, text, result in zip(seeds, texts["json"], filtered(program, "json", "json", texts["json"])):
        expected = strictly_loaded_json(text)
        if not same(expected, json.loads(result) if result is not None else None):
            sys.exit(f"seed {seed}: of json {text!r} Python makes {expected!r}, we make {result!r}")
        accepted += result is not None
    for seed, text, result in zip(seeds, texts["plist"], filtered(program, "plist", "plist", texts["plist"])):
        if result is None:
            continue
        accepted += 1
        try:
            expected = as_read_by_us(plistlib.loads(text, fmt=plistlib.FMT_XML))
        except Exception as error:
            sys.exit(f"seed {seed}: we accept {text!r}, which Python refuses: {error!r}")
        if not same(expected, plistlib.loads(result)):
            sys.exit(f"seed {seed}: of {text!r} Python makes {expected!r}, we make {result!r}")
    if not DAMAGED // 50 < accepted < 2 * DAMAGED:
        sys.exit(f"{accepted} damaged documents accepted: the damage is no test")


def main():
    program = sys.argv[1]
    first_seed = int(sys.argv[2]) if len(sys.argv) > 2 else 1
    check_exchange(program, first_seed)
    check_damaged(program, first_seed)


if __name__ == "__main__":
    main()
