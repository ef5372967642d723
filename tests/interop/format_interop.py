"""Compares both formats with Python's json, plistlib and expat: on random documents, both ways; on damaged ones, of which
both sides accept the same; and on the deliberate differences, which stand in the manual.

Usage: format_interop.py FORMAT_FILTER docs/file-formats.md [FIRST_SEED]
"""

import base64
import datetime
import json
import math
import pathlib
import plistlib
import random
import re
import subprocess
import sys

import strict_plist

DOCUMENTS = 300
DAMAGED = 10000


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
    return plistlib.loads(text, fmt=plistlib.FMT_XML) if format_name == "plist" else json.loads(text)


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


JSON_PIECES = [bytes([byte]) for byte in b'{}[]:,"\\\\ue0-1.t\x80\xc3\xa9\n '] + [
    b"true", b"null", b"-0", b"0.", b"1e5", b"-1E-400", b"1e309", b"9223372036854775808", b"-9223372036854775809",
    b"18446744073709551616", b"\\ud83d\\ude00", b"\\ud83d", b"\\u0000", b"\\/", b"\\x", b",1", b',"":0', b"[]", b"{}",
    b"\xed\xa0\x80", b"\xf4\x90\x80\x80", b"\xe2\x80\xa8", b"\x7f", b"\x1f", b"\xef\xbb\xbf", b"/**/", b"\r", b"\x0c"]

PLIST_PIECES = [bytes([byte]) for byte in b"<>/!?-&;#x[]'\"=1kad \r\n\x80\xc3\xa9"] + [
    b"<!-- a -->", b"<!-- -- -->", b"<?p x?>", b"<?XML?>", b"<?p?>", b"<![CDATA[<&\r\n]]>", b"]]>", b"&amp;", b"&apos;",
    b"&b;", b"&#65;", b"&#x1F600;", b"&#0;", b"&#13;", b"&#xD800;", b"&#x110000;", b"&#;", b" a='1'", b' a="<"',
    b' b = "&lt;"', b" a", b"<true/>", b"<true> </true>", b"<dict/>", b"<array>", b"</array>", b"<key>k</key>",
    b"<string/>", b"<integer>+7</integer>", b"<integer> 0xAf </integer>", b"<integer>-0x1</integer>",
    b"<integer>-9223372036854775809</integer>", b"<integer>18446744073709551616</integer>", b"<real>.5</real>",
    b"<real>5.</real>", b"<real>+1e-400</real>", b"<real>1e400</real>", b"<real>nan</real>", b"<real>1e</real>",
    b"<date>2023-02-29T00:00:00Z</date>", b"<date>2024-02-29T23:59:60Z</date>", b"<data>A A E =</data>",
    b"<data>AAE</data>", b"<data>====</data>", b"\xef\xbf\xbe", b"\xc3\xa9", b"\x7f", b"\x01", b"\x0b"]


def damaged(rng, text, pieces):
    text = bytearray(text)
    for _ in range(rng.randrange(1, 4)):
        at = rng.randrange(len(text) + 1)
        # Half of the pieces go between tokens, where they have a chance to fit.
        if rng.random() < 0.5:
            at = max(text.rfind(b">", 0, at), text.rfind(b",", 0, at), text.rfind(b"[", 0, at)) + 1
        length = rng.randrange(3) if rng.random() < 0.5 else 0
        text[at:at + length] = b"".join(rng.choices(pieces, k=rng.randrange(3)))
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


def strictly_loaded_plist(text):
    try:
        return strict_plist.loads(text)
    except strict_plist.Refused:
        return None


def check_damaged(program, first_seed):
    """What is refused and what is accepted agrees with a strict reading in Python, and so do the values."""
    seeds = range(first_seed, first_seed + DAMAGED)
    texts = {"json": [], "plist": []}
    for seed in seeds:
        rng = random.Random(seed)
        texts["json"].append(damaged(rng, json.dumps({"common": random_value(rng, True, 3)}).encode(), JSON_PIECES))
        texts["plist"].append(damaged(rng, dumped("plist", {"common": random_value(rng, False, 3)}), PLIST_PIECES))

    for name, strictly_loaded in ("json", strictly_loaded_json), ("plist", strictly_loaded_plist):
        accepted = 0
        # JSON holds what a property list does, and tells integers from reals as it does.
        for seed, text, result in zip(seeds, texts[name], filtered(program, name, "json", texts[name])):
            expected = strictly_loaded(text)
            found = json.loads(result) if result is not None else None
            if (result is None) != (expected is None) or not same(expected, found):
                sys.exit(f"seed {seed}: of {name} {text!r} Python makes {expected!r}, we make {result!r}")
            accepted += result is not None
            if name == "plist" and result is not None:
                check_plistlib(seed, text, found)
        print(f"{name}: {accepted} of {len(texts[name])} damaged texts accepted by both")
        if not DAMAGED // 20 < accepted < DAMAGED:
            sys.exit("the damage is no test")


def check_plistlib(seed, text, found):
    """plistlib reads all that we accept, but for the dates and hexadecimal numbers of the manual's table."""
    try:
        expected = as_read_by_us(plistlib.loads(text, fmt=plistlib.FMT_XML))
    except Exception as error:
        if re.search(b"<date>|0[xX]", text):
            return
        sys.exit(f"seed {seed}: we accept {text!r}, which plistlib refuses: {error!r}")
    if not same(expected, found):
        sys.exit(f"seed {seed}: of {text!r} plistlib makes {expected!r}, we make {found!r}")


def differences(manual):
    """The lines of the manual's tables: format, text, what is read here, what Python reads; None where it is refused."""
    format_name = None
    for line in pathlib.Path(manual).read_text(encoding="utf-8").splitlines():
        cells = [cell.strip() for cell in line.split(" | ")]
        if len(cells) != 4 or not cells[0].startswith("| "):
            format_name = format_name if line.startswith("|---") else None
        elif cells[1] == "Here":
            format_name = "json" if cells[0] == "| JSON" else "plist"
        elif format_name is not None:
            yield format_name, *(None if cell == "refused" else re.search("`(.*)`", cell)[1] for cell in cells[:3])


def check_differences(program, manual):
    count = 0
    for format_name, text, ours, pythons in differences(manual):
        document = re.sub(r"<U\+(....)>", lambda code: chr(int(code[1], 16)), text).encode()
        found = filtered(program, format_name, "json", [document])[0]
        if found is not None:
            found = repr(json.loads(found))
        if found != (None if ours is None else repr(eval(ours))):
            sys.exit(f"{text}: we make {found}, the manual says {ours}")
        try:
            found = repr(loaded(format_name, document))
        except Exception:
            found = None
        if found != (None if pythons is None else repr(eval(pythons))):
            sys.exit(f"{text}: Python makes {found}, the manual says {pythons}")
        count += 1
    print(f"{count} deliberate differences")
    if count < 20:
        sys.exit("the manual's tables were not found")


def main():
    program, manual = sys.argv[1:3]
    first_seed = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    check_differences(program, manual)
    check_exchange(program, first_seed)
    check_damaged(program, first_seed)


if __name__ == "__main__":
    main()
