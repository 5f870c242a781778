"""Faults in Python: found in its own syntax tree, and written into a module so that a number selects one."""

from __future__ import annotations

import ast
import copy

from faults import ROOT, Fault

# The start of every module with faults; see planted.h.
PLANTED = '''
import os as torvik_os
torvik_acting = int(torvik_os.environ.get("TORVIK_FAULT", "0"))
torvik_reached = torvik_os.environ.get("TORVIK_FAULTS_REACHED")
torvik_noted = set()
def torvik_planted(number):
    if torvik_reached and number not in torvik_noted:
        torvik_noted.add(number)
        try:
            torvik_file = torvik_os.open(torvik_reached, torvik_os.O_WRONLY)
        except OSError:
            return False
        torvik_os.pwrite(torvik_file, b"\\1", number)
        torvik_os.close(torvik_file)
    return number == torvik_acting
'''

COMPARISONS = {ast.Lt: ast.LtE, ast.LtE: ast.Lt, ast.Gt: ast.GtE, ast.GtE: ast.Gt, ast.Eq: ast.NotEq,
               ast.NotEq: ast.Eq, ast.In: ast.NotIn, ast.NotIn: ast.In, ast.Is: ast.IsNot,
               ast.IsNot: ast.Is}
ARITHMETIC = {ast.Add: ast.Sub, ast.Sub: ast.Add, ast.Mult: ast.Div, ast.Div: ast.Mult,
              ast.FloorDiv: ast.Mult, ast.Mod: ast.FloorDiv, ast.Pow: ast.Mult,
              ast.BitAnd: ast.BitOr, ast.BitOr: ast.BitAnd, ast.LShift: ast.RShift,
              ast.RShift: ast.LShift}
FUNCTIONS = {"min": "max", "max": "min", "any": "all", "all": "any", "ceil": "floor",
             "floor": "ceil"}
SYMMETRIC = {"min", "max", "gcd", "hypot", "dot"}


class Planter(ast.NodeTransformer):
    """Goes through a module. Collects its faults, and guards those that have a number."""

    def __init__(self, name: str, text: str, numbers: dict[int, int]) -> None:
        self.name = name
        self.lines = text.split("\n")
        self.numbers = numbers  # of a fault, by its place in the order of the walk
        self.faults: list[Fault] = []
        self.function = ""

    def offer(self, kind: str, place: ast.AST, before: str, after: str) -> int:
        """Adds a fault. Gives its number, or 0."""
        line = place.lineno
        self.faults.append(Fault(self.name, line, self.function, kind, self.lines[line - 1].strip(),
                                 before, after, start=len(self.faults)))
        return self.numbers.get(len(self.faults) - 1, 0)

    @staticmethod
    def condition(number: int) -> ast.expr:
        return ast.parse(f"torvik_planted({number})", mode="eval").body

    def chosen(self, kind: str, original: ast.expr, node: ast.expr, faulty: ast.expr) -> ast.expr:
        number = self.offer(kind, original, ast.unparse(original), ast.unparse(faulty))
        if not number:
            return node
        return ast.copy_location(ast.IfExp(self.condition(number), faulty, node), original)

    # Expressions

    def visit_Compare(self, node: ast.Compare) -> ast.expr:
        original = copy.deepcopy(node)
        new: ast.expr = self.generic_visit(node)
        for i, sign in enumerate(original.ops):
            faulty = copy.deepcopy(original)
            faulty.ops[i] = COMPARISONS[type(sign)]()
            new = self.chosen("comparison", original, new, faulty)
        return new

    def visit_BoolOp(self, node: ast.BoolOp) -> ast.expr:
        original = copy.deepcopy(node)
        faulty = copy.deepcopy(node)
        faulty.op = ast.Or() if isinstance(node.op, ast.And) else ast.And()
        return self.chosen("logical operator", original, self.generic_visit(node), faulty)

    def visit_BinOp(self, node: ast.BinOp) -> ast.expr:
        original = copy.deepcopy(node)
        faulty = copy.deepcopy(node)
        new = self.generic_visit(node)
        if type(node.op) not in ARITHMETIC:
            return new
        faulty.op = ARITHMETIC[type(node.op)]()
        return self.chosen("arithmetic operator", original, new, faulty)

    def visit_UnaryOp(self, node: ast.UnaryOp) -> ast.expr:
        original = copy.deepcopy(node)
        new = self.generic_visit(node)
        kind = "negated condition" if isinstance(node.op, ast.Not) else "sign"
        return self.chosen(kind, original, new, copy.deepcopy(original.operand))

    def negated(self, node):
        original = copy.deepcopy(node.test)
        self.generic_visit(node)
        node.test = self.chosen("negated condition", original, node.test,
                                ast.UnaryOp(ast.Not(), original))
        return node

    def visit_IfExp(self, node: ast.IfExp) -> ast.expr:
        return self.negated(node)

    def visit_Constant(self, node: ast.Constant) -> ast.expr:
        value = node.value
        if isinstance(value, bool):
            others = [not value]
        elif isinstance(value, int):
            others = [value + 1] + ([value - 1] if value else [])
        elif isinstance(value, float):
            others = [value * 1.1 if value else 1.0]
        else:
            return node
        new: ast.expr = node
        for other in others:
            new = self.chosen("constant", node, new, ast.Constant(other))
        return new

    def visit_JoinedStr(self, node: ast.JoinedStr) -> ast.expr:
        for value in node.values:
            if isinstance(value, ast.FormattedValue):
                value.value = self.visit(value.value)
        return node

    def visit_Call(self, node: ast.Call) -> ast.expr:
        original = copy.deepcopy(node)
        new: ast.expr = self.generic_visit(node)
        named = original.func
        name = named.id if isinstance(named, ast.Name) else getattr(named, "attr", "")
        if name in FUNCTIONS and (isinstance(named, ast.Name) or name in ("ceil", "floor")):
            faulty = copy.deepcopy(original)
            setattr(faulty.func, "id" if isinstance(named, ast.Name) else "attr", FUNCTIONS[name])
            new = self.chosen("other function", original, new, faulty)
        if name in SYMMETRIC:
            return new
        for i in range(len(original.args) - 1):
            first, second = original.args[i:i + 2]
            if isinstance(first, ast.Starred) or isinstance(second, ast.Starred):
                continue
            if ast.dump(first) != ast.dump(second):
                faulty = copy.deepcopy(original)
                faulty.args[i], faulty.args[i + 1] = faulty.args[i + 1], faulty.args[i]
                new = self.chosen("swapped arguments", original, new, faulty)
        return new

    # Statements

    def visit_If(self, node: ast.If) -> ast.stmt:
        if "__name__" in ast.unparse(node.test):
            return node
        return self.negated(node)

    def removed(self, node: ast.stmt) -> ast.stmt:
        original = ast.unparse(node)
        self.generic_visit(node)
        number = self.offer("removed statement", node, original, "pass")
        if not number:
            return node
        test = ast.UnaryOp(ast.Not(), self.condition(number))
        return ast.copy_location(ast.If(test, [node], []), node)

    def visit_Expr(self, node: ast.Expr) -> ast.stmt:
        if isinstance(node.value, ast.Constant):
            return node  # a docstring
        if isinstance(node.value, (ast.Yield, ast.YieldFrom)):
            return self.generic_visit(node)
        return self.removed(node)

    visit_AugAssign = removed
    visit_Break = removed
    visit_Continue = removed
    visit_Raise = removed

    def visit_AnnAssign(self, node: ast.AnnAssign) -> ast.stmt:
        if node.value is not None:
            node.value = self.visit(node.value)
        return node

    def visit_arguments(self, node: ast.arguments) -> ast.arguments:
        node.defaults = [self.visit(one) for one in node.defaults]
        node.kw_defaults = [one and self.visit(one) for one in node.kw_defaults]
        return node

    def visit_FunctionDef(self, node: ast.FunctionDef) -> ast.stmt:
        before, self.function = self.function, node.name
        node.args = self.visit(node.args)
        documented = ast.get_docstring(node) is not None
        inside = node.body[documented:]
        trivial = len(inside) == 1 and ast.unparse(inside[0]) in ("return", "return None", "pass")
        body = node.body[:documented] + [self.visit(one) for one in inside]
        generates = any(isinstance(one, (ast.Yield, ast.YieldFrom)) for one in ast.walk(node))
        if not trivial and inside and not generates:
            number = self.offer("early return", node, f"def {node.name}:", "return None")
            if number:
                leaving = ast.If(self.condition(number), [ast.Return(None)], [])
                body.insert(int(documented), ast.copy_location(leaving, node))
        node.body = body
        self.function = before
        return node

    def visit_ClassDef(self, node: ast.ClassDef) -> ast.stmt:
        node.body = [self.visit(one) for one in node.body]
        return node


def walked(name: str, text: str, numbers: dict[int, int]) -> tuple[list[Fault], ast.Module]:
    planter = Planter(name, text, numbers)
    return planter.faults, planter.visit(ast.parse(text))


def found_in(name: str) -> list[Fault]:
    """All faults of a module that the rules give."""
    return walked(name, (ROOT / name).read_text(encoding="utf-8"), {})[0]


def rewritten(name: str, text: str, faults: list[Fault]) -> str:
    """The module with faults, each behind its number."""
    _, tree = walked(name, text, {one.start: one.number for one in faults})
    place = 0
    for place, statement in enumerate(tree.body):
        documented = isinstance(statement, ast.Expr) and isinstance(statement.value, ast.Constant)
        future = isinstance(statement, ast.ImportFrom) and statement.module == "__future__"
        if not documented and not future:
            break
    tree.body[place:place] = ast.parse(PLANTED).body
    first = text.split("\n")[0] + "\n" if text.startswith("#!") else ""
    return first + ast.unparse(ast.fix_missing_locations(tree)) + "\n"
