"""A strict reading of XML property lists over expat, written from the manual: what the library should accept, and as what.

Values are those of JSON: a date is its text, data its base64 text.
"""

import datetime
import math
import re
import xml.parsers.expat

BLANKS = " \t\r\n"
SCALARS = {"string", "integer", "real", "true", "false", "date", "data"}

# A start tag with an entity of the document type in an attribute, which expat leaves out in silence.
OPEN_REFERENCE = re.compile(rb"""<([^>"']|"[^"]*"|'[^']*')*?("[^"]*|'[^']*)&(?!(lt|gt|amp|apos|quot);|#)""")


class Refused(Exception):
    pass


def refuse(*_):
    raise Refused


def integer(text):
    text = text.strip(BLANKS)
    if re.fullmatch(r"[+-]?0[xX][0-9a-fA-F]+", text):
        number = int(text, 16)
    elif re.fullmatch(r"[+-]?[0-9]+", text):
        number = int(text)
    else:
        raise Refused
    if not -2**63 <= number < 2**64:
        raise Refused
    return number


def real(text):
    text = text.strip(BLANKS)
    if not re.fullmatch(r"[+-]?([0-9]+\.?[0-9]*|\.[0-9]+)([eE][+-]?[0-9]+)?", text):
        raise Refused
    number = float(text)
    if math.isinf(number):
        raise Refused
    return number


def date(text):
    text = text.strip(BLANKS)
    if not re.fullmatch(r"[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z", text):
        raise Refused
    year = int(text[:4]) or 2000  # a leap year both; Python has no year 0
    second = min(int(text[17:19]), 59) if int(text[17:19]) <= 60 else 60
    try:
        datetime.datetime(year, int(text[5:7]), int(text[8:10]), int(text[11:13]), int(text[14:16]), second)
    except ValueError:
        raise Refused from None
    return text


def data(text):
    text = "".join(text.translate({ord(blank): None for blank in BLANKS}))
    if len(text) % 4 or not re.fullmatch(r"[A-Za-z0-9+/]*={0,2}", text):
        raise Refused
    return text


def boolean(value):
    return lambda text: value if not text.strip(BLANKS) else refuse()


READERS = {"string": str, "integer": integer, "real": real, "date": date, "data": data, "true": boolean(True),
           "false": boolean(False)}


class Builder:
    """Takes expat's events; `values` holds the one value at the end."""

    def __init__(self, parser, document):
        self.is_reference = lambda: document.startswith(b"&", parser.CurrentByteIndex)
        self.has_open_reference = lambda: OPEN_REFERENCE.match(document, parser.CurrentByteIndex)
        self.values = []
        self.elements = []  # names of those that are open
        self.containers = [self.values]
        self.keys = []  # for each open dict the key that waits for its value
        self.text = ""

    def is_inside_text(self):
        return bool(self.elements) and self.elements[-1] in SCALARS | {"key"}

    def start(self, name, attributes):
        if attributes and self.has_open_reference():
            raise Refused
        around = self.elements[-1] if self.elements else None
        if around is None:
            allowed = name == "plist"
        elif around == "dict":
            allowed = (name == "key") == (self.keys[-1] is None)
        else:
            allowed = around in {"plist", "array"}
        if not allowed or name not in SCALARS | {"plist", "dict", "array"} | ({"key"} if around == "dict" else set()):
            raise Refused
        if name in {"dict", "array"}:
            self.containers.append({} if name == "dict" else [])
            if name == "dict":
                self.keys.append(None)
        self.elements.append(name)
        self.text = ""

    def end(self, name):
        self.elements.pop()
        if name == "key":
            self.keys[-1] = self.text
        elif name in SCALARS:
            self.add(READERS[name](self.text))
        elif name != "plist":
            if name == "dict" and self.keys.pop() is not None:
                raise Refused
            self.add(self.containers.pop())

    def add(self, value):
        container = self.containers[-1]
        if isinstance(container, dict):
            container[self.keys[-1]] = value
            self.keys[-1] = None
        else:
            container.append(value)

    def characters(self, text):
        if self.is_inside_text():
            self.text += text
        elif text.strip(BLANKS) or self.is_reference():
            raise Refused

    def cdata(self):
        if not self.is_inside_text():
            raise Refused

    def declaration(self, version, encoding, _):
        if version != "1.0" or (encoding or "utf-8").lower() != "utf-8":
            raise Refused

    def document_type(self, name, _system, _public, has_declarations):
        if name != "plist" or has_declarations:
            raise Refused


def loads(text):
    parser = xml.parsers.expat.ParserCreate("utf-8")
    builder = Builder(parser, text)
    parser.StartElementHandler = builder.start
    parser.EndElementHandler = builder.end
    parser.CharacterDataHandler = builder.characters
    parser.StartCdataSectionHandler = builder.cdata
    parser.XmlDeclHandler = builder.declaration
    parser.StartDoctypeDeclHandler = builder.document_type
    parser.SkippedEntityHandler = refuse
    try:
        parser.Parse(text, True)
    except xml.parsers.expat.ExpatError:
        raise Refused from None
    if len(builder.values) != 1:
        raise Refused
    return builder.values[0]
