"""Splits a description into tokens, each with its line number."""

from dataclasses import dataclass

from .errors import DescriptionError

PUNCTUATION = ["->", "::", "{", "}", "(", ")", "<", ">", ",", ";", ":", "|", "."]


@dataclass
class Token:
    kind: str  # "name", "string", "punct", "end"
    text: str
    line: int


def tokenize(path, text):
    tokens = []
    line = 1
    i = 0
    n = len(text)
    while i < n:
        ch = text[i]
        if ch == "\n":
            line += 1
            i += 1
        elif ch in " \t\r":
            i += 1
        elif text.startswith("//", i):
            end = text.find("\n", i)
            i = n if end < 0 else end
        elif ch.isalpha() or ch == "_":
            start = i
            while i < n and (text[i].isalnum() or text[i] in "_$"):
                i += 1
            tokens.append(Token("name", text[start:i], line))
        elif ch == '"':
            start = i + 1
            i = start
            while i < n and text[i] not in '"\n':
                i += 1
            if i >= n or text[i] != '"':
                raise DescriptionError(path, line, "unterminated string")
            if "\\" in text[start:i]:
                # Strings are copied into C++ literals as written; a backslash would change them there.
                raise DescriptionError(path, line, "a string may not contain '\\'")
            tokens.append(Token("string", text[start:i], line))
            i += 1
        else:
            for p in PUNCTUATION:
                if text.startswith(p, i):
                    tokens.append(Token("punct", p, line))
                    i += len(p)
                    break
            else:
                raise DescriptionError(path, line, f"unexpected character '{ch}'")
    # Errors at the end of the file point at its last written line, not the empty one after it.
    tokens.append(Token("end", "", text.rstrip().count("\n") + 1))
    return tokens
