"""Parses one description file into a Unit. Syntax errors raise DescriptionError."""

from .errors import DescriptionError
from .lexer import tokenize
from .model import Case, Enum, Field, Operation, Param, Struct, TypeExpr, Unit

PRIMITIVES = {"string", "uri", "long", "bool", "double", "secret", "datetime", "binary", "void",
              "dynamic_structure", "dynamic_error"}
CONTAINERS = {"optional": 1, "list": 1, "set": 1, "map": 2}
# Far deeper than any real type; it keeps the recursive steps here and in the checks and the
# renderer well inside Python's stack whatever a file holds.
MAX_TYPE_DEPTH = 32


class Parser:
    def __init__(self, path, text):
        self.path = path
        self.tokens = tokenize(path, text)
        self.at = 0
        self.depth = 0

    # Token helpers.
    def peek(self, offset=0):
        return self.tokens[min(self.at + offset, len(self.tokens) - 1)]

    def fail(self, message, token=None):
        token = token or self.peek()
        raise DescriptionError(self.path, token.line, message)

    def next(self):
        token = self.peek()
        self.at += 1
        return token

    def accept(self, text):
        if self.peek().text == text and self.peek().kind in ("punct", "name"):
            return self.next()
        return None

    def expect(self, text):
        token = self.peek()
        if token.text != text or token.kind not in ("punct", "name"):
            found = "end of file" if token.kind == "end" else f"'{token.text}'"
            # A missing ';' belongs to the line it should end, not to whatever comes next.
            at = self.tokens[self.at - 1] if text == ";" and self.at > 0 else token
            self.fail(f"expected '{text}', found {found}", at)
        return self.next()

    def name(self, what="a name"):
        token = self.peek()
        if token.kind != "name":
            found = "end of file" if token.kind == "end" else f"'{token.text}'"
            self.fail(f"expected {what}, found {found}")
        return self.next()

    def string(self):
        token = self.peek()
        if token.kind != "string":
            self.fail("expected a quoted string")
        return self.next().text

    def dotted(self, what="a dotted name"):
        parts = [self.name(what).text]
        while self.peek().text == "." and self.peek(1).kind == "name":
            self.next()
            parts.append(self.next().text)
        return ".".join(parts)

    # Grammar.
    def unit(self, rel):
        head = self.name("'service' or 'package'")
        if head.text not in ("service", "package"):
            self.fail("a description starts with 'service' or 'package'", head)
        unit = Unit(path=self.path, rel=rel, kind=head.text, dotted=self.dotted("an id"), line=head.line)
        self.expect("{")
        while not self.accept("}"):
            token = self.peek()
            if token.kind == "end":
                self.fail("missing '}' at the end of the description")
            word = token.text
            if word == "class" and unit.kind == "service":
                unit.class_line = self.next().line
                parts = [self.name("a class name").text]
                while self.accept("::"):
                    parts.append(self.name("a class name").text)
                unit.class_path = parts
                self.expect(";")
            elif word == "resource_type" and unit.kind == "service":
                self.next()
                unit.resource_type = self.string()
                self.expect(";")
            elif word == "definition_name" and unit.kind == "service":
                self.next()
                unit.definition_name = self.string()
                self.expect(";")
            elif word == "enum":
                unit.enums.append(self.enum())
            elif word in ("struct", "error"):
                unit.structs.append(self.struct())
            elif word == "resource_types":
                self.next()
                self.expect("{")
                while True:
                    unit.resource_types.append(self.name("a resource type").text)
                    if not self.accept(","):
                        break
                    if self.peek().text == "}":
                        break
                self.expect("}")
            elif word in ("op", "task") and unit.kind == "service":
                unit.operations.append(self.operation())
            else:
                self.fail(f"unexpected '{word}' in a {unit.kind}")
        if self.peek().kind != "end":
            self.fail("nothing may follow the closing '}'")
        return unit

    def enum(self):
        line = self.expect("enum").line
        name = self.name("an enumeration name").text
        self.expect("{")
        values, lines = [], []
        while True:
            token = self.name("an enumeration value")
            values.append(token.text)
            lines.append(token.line)
            if not self.accept(","):
                self.expect("}")
                break
            if self.accept("}"):
                break
        return Enum(name=name, values=values, line=line, value_lines=lines)

    def struct(self):
        keyword = self.next()
        name = self.name("a structure name").text
        wire = None
        if self.accept("wire"):
            wire = self.string()
        self.expect("{")
        fields, enums = [], []
        while not self.accept("}"):
            if self.peek().kind == "end":
                self.fail(f"missing '}}' at the end of {name}")
            if self.peek().text == "enum" and self.peek(1).kind == "name" and self.peek(2).text == "{":
                enums.append(self.enum())
            else:
                fields.append(self.field())
        return Struct(name=name, fields=fields, enums=enums, line=keyword.line, wire=wire,
                      is_error=keyword.text == "error")

    def field(self):
        token = self.name("a field name")
        self.expect(":")
        type_expr = self.type()
        case = None
        if self.accept("when"):
            tag = self.name("a tag field").text
            self.expect("is")
            values = [self.name("a tag value").text]
            while self.accept(","):
                values.append(self.name("a tag value").text)
            required = bool(self.accept("required"))
            case = Case(tag=tag, values=values, required=required, line=token.line)
        self.expect(";")
        return Field(name=token.text, type=type_expr, line=token.line, case=case)

    def type(self):
        token = self.peek()
        if token.kind != "name":
            self.fail("expected a type")
        word = token.text
        if word in PRIMITIVES:
            self.next()
            return TypeExpr(kind=word, line=token.line)
        if word == "id":
            self.next()
            self.expect("<")
            resources = [self.dotted("a resource type")]
            while self.accept("|"):
                resources.append(self.dotted("a resource type"))
            self.expect(">")
            return TypeExpr(kind="id", line=token.line, resources=resources)
        if word in CONTAINERS and self.peek(1).text == "<":
            if self.depth >= MAX_TYPE_DEPTH:
                self.fail(f"types nest at most {MAX_TYPE_DEPTH} deep")
            self.next()
            self.expect("<")
            self.depth += 1
            args = [self.type()]
            for _ in range(CONTAINERS[word] - 1):
                self.expect(",")
                args.append(self.type())
            self.depth -= 1
            self.expect(">")
            if word == "map" and args[0].kind != "string":
                self.fail("map keys are strings: write map<string, T>", token)
            return TypeExpr(kind=word, line=token.line, args=args)
        return TypeExpr(kind="ref", line=token.line, name=self.dotted("a type"))

    def operation(self):
        task_only = bool(self.accept("task"))
        line = self.expect("op").line
        name = self.name("an operation name").text
        self.expect("(")
        params = []
        if not self.accept(")"):
            while True:
                token = self.name("a parameter name")
                self.expect(":")
                params.append(Param(name=token.text, type=self.type(), line=token.line))
                if self.accept(")"):
                    break
                self.expect(",")
        self.expect("->")
        result = self.type()
        also_task = False
        if self.accept("also"):
            self.expect("task")
            also_task = True
        errors, error_lines = [], []
        if self.accept("errors"):
            while True:
                error_lines.append(self.peek().line)
                errors.append(self.dotted("an error name"))
                if not self.accept(","):
                    break
        self.expect(";")
        return Operation(name=name, params=params, result=result, line=line, task_only=task_only,
                         also_task=also_task, errors=errors, error_lines=error_lines)


def first_comment(text):
    for raw in text.splitlines():
        line = raw.strip()
        if not line:
            continue
        return line[2:].strip() if line.startswith("//") else ""
    return ""


def parse(path, rel, text):
    unit = Parser(path, text).unit(rel)
    unit.summary = first_comment(text)
    return unit
