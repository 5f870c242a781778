"""Faults in C++: found in the syntax tree, and written into a source so that a number selects one."""

from __future__ import annotations

import ctypes.util
import functools
import re
import sys
from collections.abc import Iterator
from pathlib import Path

from faults import ROOT, Fault

FLAGS = ["-x", "c++", "-std=c++20", "-DNDEBUG", "-DMSGPACK_NO_BOOST", '-DTORVIK_VERSION="0"', "-w",
         *(f"-I{ROOT / folder}" for folder in ("src", ".", "solver/include", "tools"))]

NEXT = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
REVERSED = {"<": ">", "<=": ">=", ">": "<", ">=": "<=", "==": "!=", "!=": "=="}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "/", "<<": ">>", ">>": "<<", "&": "|",
              "|": "&", "^": "&", "+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "|=": "&=",
              "&=": "|=", "<<=": ">>=", ">>=": "<<=", "^=": "|="}
LOGICAL = {"&&": "||", "||": "&&"}
FUNCTIONS = {"min": "max", "max": "min", "fmin": "fmax", "fmax": "fmin", "floor": "ceil",
             "ceil": "floor", "sin": "cos", "cos": "sin", "min_element": "max_element",
             "max_element": "min_element", "lower_bound": "upper_bound",
             "upper_bound": "lower_bound", "any_of": "all_of", "all_of": "any_of"}
# Their arguments may be exchanged, but for the sign of a zero and ties.
SYMMETRIC = {"min", "max", "fmin", "fmax", "swap", "hypot", "dot", "gcd", "lcm", "midpoint",
             "dotproduct", "iter_swap"}
# Statements that only save time, or none.
WITHOUT_EFFECT = re.compile(r"^static_cast<void>|(\.|->)reserve\(|\.shrink_to_fit\(\)")
COMPONENTS = {"x": "y", "y": "z", "z": "x"}
LITERALS = "INTEGER_LITERAL", "FLOATING_LITERAL", "CXX_BOOL_LITERAL_EXPR"
FUNCTION_KINDS = "FUNCTION_DECL", "CXX_METHOD", "CONSTRUCTOR", "DESTRUCTOR", "FUNCTION_TEMPLATE", \
    "CONVERSION_FUNCTION"
LOOPS = "FOR_STMT", "WHILE_STMT", "DO_STMT", "CXX_FOR_RANGE_STMT"


@functools.cache
def clang():
    """The Python module of libclang, which Debian has for its own Python."""
    for folder in ("/usr/lib/python3/dist-packages", *sorted(map(str, Path("/usr/lib").glob(
            "llvm-*/lib/python3*/site-packages")))):
        if folder not in sys.path:
            sys.path.append(folder)
    from clang import cindex
    return cindex


def available() -> bool:
    try:
        clang().Index.create()
    except Exception:  # the module, or its library
        return False
    return True


def literal(text: str) -> list[tuple[str, str]]:
    """The kinds of faults of a number, and what it is then."""
    if text in ("true", "false"):
        return [("constant", "false" if text == "true" else "true")]
    match = re.fullmatch(r"(0[xX][0-9a-fA-F']+|[0-9']+)([uUlLzZ]*)", text)
    if match:
        digits = match[1].replace("'", "")
        octal = len(digits) > 1 and digits.isdigit() and digits[0] == "0"
        value = int(digits, 8 if octal else 0)
        others = [value + 1] + ([value - 1] if value else [])
        return [("constant", f"{other}{match[2]}") for other in others]
    match = re.fullmatch(r"(0[xX][0-9a-fA-F.']+|[0-9.']+)([eEpP][-+]?[0-9]+)?([fFlL]?)", text)
    if not match or (match[1][:2] in ("0x", "0X")) != (match[2] or " ")[0].lower().startswith("p"):
        return []
    digits, exponent, suffix = match[1], match[2] or "", match[3]
    whole = "0123456789abcdef" if exponent[:1] in ("p", "P") else "0123456789"
    body = digits.rstrip(".")
    last = len(body) - 1
    if body.endswith(".0"):
        last -= 2
    place = whole.find(body[last].lower())
    if place < 0:
        return []
    up = place + 1 if place + 1 < len(whole) else place - 1
    changed = body[:last] + whole[up] + body[last + 1:] + digits[len(body):]
    found = [("constant", changed + exponent + suffix)]
    if re.search(r"[1-9a-fA-F]", digits.removeprefix("0x")):
        found.append(("sign", "-" + text))
    return found


def flat(text: str) -> str:
    """A piece of code in one line."""
    piece = re.compile(r'R"\(.*?\)"|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])\'|//[^\n]*|/\*.*?\*/|\s+', re.S)

    def shortened(match: re.Match) -> str:
        found = match[0]
        return found if found[0] in "\"'R" else " "
    return piece.sub(shortened, text).strip()


def name_of(node) -> str:
    """The kind of a node; empty for one that the module does not know."""
    try:
        return node.kind.name
    except ValueError:
        return ""


def expression(node) -> bool:
    return name_of(node) != "" and node.kind.is_expression()


class Finder:
    """Goes through the syntax tree of one source."""

    def __init__(self, name: str, text: str) -> None:
        self.name = name
        self.text = text
        self.lines = text.split("\n")
        self.faults: list[Fault] = []
        self.function = ""
        self.guard = "torvik_planted"
        self.constant: tuple[str, tuple[int, int, str]] | None = None

    # What the nodes are in the text

    def span(self, node) -> tuple[int, int]:
        return node.extent.start.offset, node.extent.end.offset

    def of(self, node) -> str:
        start, end = self.span(node)
        return self.text[start:end]

    def ours(self, node) -> bool:
        file = node.extent.start.file
        return file is not None and Path(file.name) == ROOT / self.name

    def offer(self, kind: str, start: int, end: int, after: str, form: str = "value",
              shown: tuple[str, str] | None = None) -> None:
        before = self.text[start:end]
        if "\n#" in before or (form == "value" and flat(before) == flat(after)):
            return
        line = self.text.count("\n", 0, start) + 1
        fault = Fault(self.name, line, self.function, kind, self.lines[line - 1].strip(),
                      shown[0] if shown else flat(before), shown[1] if shown else flat(after),
                      start, end, form, self.guard)
        if form != "statement":
            fault.after = shown[1] if shown else flat(after)
        if self.constant:
            fault.constant = self.constant[0]
            fault.edits = [self.constant[1]]
        self.faults.append(fault)

    # Where the faults are

    def visit(self, node, parent=None) -> None:
        kind = name_of(node)
        if kind in ("STATIC_ASSERT", "ENUM_CONSTANT_DECL", "TYPE_ALIAS_DECL", "TYPEDEF_DECL",
                    "TEMPLATE_NON_TYPE_PARAMETER", "TEMPLATE_TYPE_PARAMETER", "USING_DECLARATION"):
            return
        if kind in FUNCTION_KINDS:
            self.visit_function(node)
            return
        if kind == "VAR_DECL":
            self.visit_variable(node)
            return
        handler = getattr(self, "visit_" + kind.lower(), None)
        if handler:
            handler(node, parent)
        elif kind in LITERALS:
            self.visit_literal(node, parent)
        children = list(node.get_children())
        self.visit_bodies(node, children)
        if kind == "CASE_STMT":
            children = children[1:]
        for child in children:
            self.visit(child, node)

    def visit_function(self, node) -> None:
        children = list(node.get_children())
        body = children[-1] if children and name_of(children[-1]) == "COMPOUND_STMT" else None
        if body is None:
            for child in children:  # defaults of arguments
                if name_of(child) == "PARM_DECL":
                    self.visit(child, node)
            return
        before = self.function, self.guard, self.constant
        head = self.text[node.extent.start.offset:body.extent.start.offset]
        self.function = node.spelling
        self.constant = None
        if re.search(r"\bconstexpr\b", head):
            self.guard = "torvik_planted_at_run_time"
        self.early_return(node, body, head)
        for child in children:
            if name_of(child) not in ("TYPE_REF", "TEMPLATE_REF", "NAMESPACE_REF"):
                self.visit(child, node)
        self.function, self.guard, self.constant = before

    def early_return(self, node, body, head: str) -> None:
        result = node.result_type
        kind = result.get_canonical().kind.name
        inside = flat(self.of(body)[1:-1])
        place = body.extent.start.offset + 1
        if "noreturn" in head or not inside:
            return
        values = {"VOID": ["return;"], "BOOL": ["return true;", "return false;"],
                  "LVALUEREFERENCE": [], "RVALUEREFERENCE": []}.get(kind, ["return {};"])
        if name_of(node) in ("CONSTRUCTOR", "DESTRUCTOR"):
            values = ["return;"]
        for value in values:
            if inside != value:
                self.offer("early return", place, place, " " + value, "insert",
                           ("{", "{ " + value))

    def visit_variable(self, node) -> None:
        name = node.location.offset
        head = self.text[node.extent.start.offset:name]
        before = self.constant, self.guard
        found = re.search(r"\bconstexpr\b", head)
        if found:
            start = node.extent.start.offset + found.start()
            in_class = node.semantic_parent is not None and name_of(node.semantic_parent) in (
                "CLASS_DECL", "STRUCT_DECL") and "static" in head
            self.constant = (node.spelling,
                             (start, start + len("constexpr"), "inline const" if in_class else "const"))
            self.guard = "torvik_planted"
        for child in node.get_children():
            if child.extent.start.offset > name and name_of(child) not in ("TYPE_REF", "TEMPLATE_REF"):
                bound = self.text[name + len(node.spelling):child.extent.start.offset].strip()
                if bound != "[":
                    self.visit(child, node)
        self.constant, self.guard = before

    def visit_bodies(self, node, children: list) -> None:
        kind = name_of(node)
        if kind == "COMPOUND_STMT":
            statements = children
        elif kind == "IF_STMT":
            statements = self.branches(children)
        elif kind in LOOPS:
            statements = children[:1] if kind == "DO_STMT" else children[-1:]
        elif kind in ("CASE_STMT", "DEFAULT_STMT"):
            statements = children[-1:]
        else:
            return
        for statement in statements:
            name = name_of(statement)
            if expression(statement) or name in ("BREAK_STMT", "CONTINUE_STMT"):
                self.removed(statement)
            elif name == "RETURN_STMT" and kind != "COMPOUND_STMT":
                self.removed(statement)

    def branches(self, children: list) -> list:
        condition = self.condition(children)
        return children[children.index(condition) + 1:] if condition is not None else []

    @staticmethod
    def condition(children: list):
        found = [child for child in children if expression(child)]
        return found[0] if found and len(children) > 1 else None

    def removed(self, node) -> None:
        start, end = self.span(node)
        rest = re.match(r"\s*;", self.text[end:])
        if not rest or not self.ours(node) or WITHOUT_EFFECT.search(self.text[start:end]):
            return
        end += rest.end()
        self.offer("removed statement", start, end, ";", "statement",
                   (flat(self.text[start:end]), ";"))

    def negated(self, node) -> None:
        start, end = self.span(node)
        text = self.text[start:end]
        self.offer("negated condition", start, end, f"!({text})")

    def visit_if_stmt(self, node, _) -> None:
        children = list(node.get_children())
        condition = self.condition(children)
        between = re.match(r"if\s+constexpr", self.of(node))
        if condition is not None and not between:
            self.negated(condition)

    def visit_conditional_operator(self, node, _) -> None:
        children = list(node.get_children())
        if children and children[0].type.get_canonical().kind.name not in ("VECTOR", "EXTVECTOR"):
            self.negated(children[0])

    def visit_while_stmt(self, node, _) -> None:
        children = list(node.get_children())
        if len(children) == 2 and expression(children[0]):
            start, end = self.span(children[0])
            self.offer("loop left out", start, end, "false")

    def visit_literal(self, node, parent) -> None:
        start, end = self.span(node)
        if not re.match(r"[\w.']+", self.text[start:start + 1]):
            return
        number = re.match(r"0[xX][\w.']*(?:(?<=[pP])[-+]\w+)?|[\w.']*(?:(?<=\d[eE])[-+]\w+)?", self.text[start:])[0]
        if re.search(r"(array|bitset|get|pair)<[^;(){}]*$", self.text[max(0, start - 80):start]):
            return  # an argument of a template
        name = name_of(parent) if parent is not None else ""
        if number.isdigit() and self.indexes(start, start + len(number)):
            other = {"0": "1", "1": "2", "2": "0"}.get(number, str(int(number) + 1))
            self.offer("index", start, start + len(number), other)
            return
        if name == "UNARY_OPERATOR" and self.of(parent).startswith("-") and number in ("1", "2"):
            pass
        for kind, other in literal(number):
            self.offer(kind, start, start + len(number), other)

    def indexes(self, start: int, end: int) -> bool:
        return (self.text[:start].rstrip().endswith("[")
                and self.text[end:].lstrip().startswith("]"))

    # Operators

    def operator(self, left, right) -> tuple[int, int, str]:
        """The place between two operands, and the operator there."""
        start, end = left.extent.end.offset, right.extent.start.offset
        between = self.text[start:end]
        match = re.fullmatch(r"[\s)]*?\s*([-+*/%<>=!&|^]+)\s*", between)
        if not match:
            return 0, 0, ""
        return start + match.start(1), start + match.end(1), match[1]

    def binary(self, node, left, right) -> None:
        start, end = self.span(node)
        place, stop, sign = self.operator(left, right)
        if not sign or not start <= place < end:
            return

        def offer(kind: str, other: str) -> None:
            self.offer(kind, start, end, self.text[start:place] + other + self.text[stop:end])
        types = {side.type.get_canonical().kind.name for side in (left, right)}
        if sign in NEXT:
            real = bool(types & {"DOUBLE", "FLOAT", "LONGDOUBLE", "VECTOR", "EXTVECTOR"})
            zero = re.fullmatch(r"0(\.0?F?)?", self.of(right)) is not None
            offer("comparison", NEXT[sign] if not real or zero else REVERSED[sign])
        elif sign in LOGICAL:
            offer("logical operator", LOGICAL[sign])
        elif sign in ARITHMETIC and not self.of_texts(left, right):
            offer("arithmetic operator", ARITHMETIC[sign])

    @staticmethod
    def of_texts(*operands) -> bool:
        """Whether an operand is a text, a path or a stream, where + and << are other things."""
        spelled = " ".join(operand.type.get_canonical().spelling for operand in operands)
        return re.search(r"string|char|path|stream|json|ostream|regex", spelled) is not None

    def visit_binary_operator(self, node, _) -> None:
        children = list(node.get_children())
        if len(children) == 2:
            self.binary(node, *children)

    visit_compound_assignment_operator = visit_binary_operator

    def visit_unary_operator(self, node, parent) -> None:
        start, end = self.span(node)
        text = self.text[start:end]
        if text.startswith("!") and not text.startswith("!="):  # C++20 writes a != b as !(a == b)
            self.offer("negated condition", start, end, f"static_cast<bool>({text[1:]})")
        elif text.startswith("-") and not text.startswith("--"):
            self.offer("sign", start, end, f"({text[1:]})")
        elif parent is not None and name_of(parent) != "FOR_STMT":
            for one, other in (("++", "--"), ("--", "++")):
                if text.startswith(one):
                    self.offer("arithmetic operator", start, end, other + text[2:])
                elif text.endswith(one):
                    self.offer("arithmetic operator", start, end, text[:-2] + other)

    # Calls

    def visit_call_expr(self, node, _) -> None:
        arguments = [one for one in node.get_arguments() if one is not None]
        name = node.spelling
        if name.startswith("operator") and not name[8:9].isalnum():
            if len(arguments) == 2 and name not in ("operator[]", "operator()", "operator="):
                left, right = sorted(arguments, key=lambda one: one.extent.start.offset)
                self.binary(node, left, right)
            return
        start, end = self.span(node)
        if name in FUNCTIONS and arguments:
            callee = self.text[start:arguments[0].extent.start.offset]
            found = re.search(rf"\b{name}\b(?=\s*(<[^()]*>)?\s*\($)", callee)
            if found:
                self.offer("other function", start, end, self.text[start:start + found.start()]
                           + FUNCTIONS[name] + self.text[start + found.end():end])
        called = re.match(r"[\w:]*\b(\w+)\s*\(", self.text[start:end])
        if name in SYMMETRIC or (not name and called and called[1] in SYMMETRIC):  # in templates
            return
        for first, second in zip(arguments, arguments[1:]):
            self.swapped(start, end, first, second)

    def swapped(self, start: int, end: int, first, second) -> None:
        (a, b), (c, d) = self.span(first), self.span(second)
        types = [re.sub(r"\bconst\b|[&\s]", "", one.type.get_canonical().spelling)
                 for one in (first, second)]
        if types[0] != types[1] or not types[0] or not start <= a < b <= c < d <= end:
            return
        if flat(self.text[a:b]) == flat(self.text[c:d]) or self.text[b:c].strip() != ",":
            return
        self.offer("swapped arguments", start, end, self.text[start:a] + self.text[c:d]
                   + self.text[b:c] + self.text[a:b] + self.text[d:end])

    def visit_array_subscript_expr(self, node, _) -> None:
        text = self.of(node)
        match = re.fullmatch(r"(.*)\[(\w+)\]\[(\w+)\]", text, re.S)
        if match and match[2] != match[3]:
            start, end = self.span(node)
            self.offer("index", start, end, f"{match[1]}[{match[3]}][{match[2]}]")

    def visit_member_ref_expr(self, node, _) -> None:
        other = COMPONENTS.get(node.spelling)
        text = self.of(node)
        if other and text.endswith("." + node.spelling):
            start, end = self.span(node)
            self.offer("index", start, end, text[:-1] + other)


def found_in(name: str) -> list[Fault]:
    """All faults of a source that the rules give."""
    path = ROOT / name
    text = path.read_bytes().decode("latin-1")  # a character for each byte, as libclang counts
    return found_in_text(name, text)


def found_in_text(name: str, text: str) -> list[Fault]:
    cindex = clang()
    path = str(ROOT / name)
    unit = cindex.Index.create().parse(path, args=FLAGS, unsaved_files=[(path, text.encode(
        "latin-1").decode("utf-8", "replace"))] if not (ROOT / name).exists() else None)
    errors = [str(one) for one in unit.diagnostics if one.severity >= cindex.Diagnostic.Error]
    if errors:
        raise SystemExit(f"libclang cannot read {name}: {errors[0]}")
    finder = Finder(name, text)
    for node in unit.cursor.get_children():
        file = node.location.file
        if file is not None and file.name == path:
            finder.visit(node)
    distinct = {(one.start, one.end, one.form, one.after): one for one in reversed(finder.faults)}
    return sorted(distinct.values(), key=lambda one: (one.start, -one.end, one.form, one.after))


class Rewriter:
    """Writes faults into a source, each behind its number; the lines stay where they are."""

    def __init__(self, text: str, faults: list[Fault]) -> None:
        self.text = text
        self.parts: list[str] = []
        self.length = 0
        self.spans: list[tuple[int, int, Fault]] = []  # of the result
        order = sorted(faults, key=lambda one: (one.start, -one.end, one.form != "statement"))
        self.edits = sorted({edit for one in faults for edit in one.edits})
        self.write(0, len(text), order)

    def emit(self, text: str) -> None:
        self.parts.append(text)
        self.length += len(text)

    def copy(self, start: int, end: int) -> None:
        for first, last, other in self.edits:
            if start <= first and last <= end:
                self.emit(self.text[start:first] + other)
                start = last
        self.emit(self.text[start:end])

    def write(self, start: int, end: int, faults: list[Fault]) -> None:
        place = start
        while faults:
            outer, *faults = faults
            inner = [one for one in faults if one.start < outer.end]
            faults = faults[len(inner):]
            self.copy(place, outer.start)
            begin = self.length
            condition = f"{outer.guard}({outer.number})"
            if outer.form == "insert":
                self.emit(f" if ({condition}){outer.after.removeprefix('{')}")
            elif outer.form == "statement":
                self.emit(f"{{ if (!{condition}) ")
                self.write(outer.start, outer.end, inner)
                self.emit(" }")
            else:
                kept = "static_cast<bool>" if outer.kind == "negated condition" else ""
                self.emit(f"({condition} ? ({outer.after}) : {kept}(")
                self.write(outer.start, outer.end, inner)
                self.emit("))")
            self.spans.append((begin, self.length, outer))
            place = outer.end
        self.copy(place, end)

    def result(self) -> str:
        return "".join(self.parts)

    def at(self, line: int, column: int) -> list[Fault]:
        """The fault in whose code a place is; else those of its line."""
        lines = self.result().split("\n")
        begin = sum(len(one) + 1 for one in lines[:line - 1])
        offset = begin + column - 1
        around = [one for one in self.spans if one[0] <= offset < one[1]]
        if around:
            return [min(around, key=lambda one: one[1] - one[0])[2]]
        last = begin + len(lines[line - 1])
        return [one[2] for one in self.spans if one[0] < last and begin < one[1]]

    def of_constant(self, names: Iterator[str]) -> list[Fault]:
        wanted = set(names)
        return [one[2] for one in self.spans if one[2].constant in wanted]
