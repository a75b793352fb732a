"""Finds the places of a C++ source that can be changed, one at a time, and what they can become.

Only what runs is changed: bodies of functions, and the first values of variables outside of them. Clang parses; an
operator is the text between its two operands, so that what macros make is left alone."""

import hashlib
import json
import random
import re
from collections import defaultdict
from dataclasses import asdict, dataclass
from pathlib import Path

from clang.cindex import Config, CursorKind, Index, TranslationUnit, TypeKind

Config.set_library_file("libclang-14.so.1")

OPERATORS = {
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"), "==": ("!=",), "!=": ("==",),
    "+": ("-",), "-": ("+",), "*": ("+", "/"), "/": ("*",), "%": ("/",),
    "&": ("|",), "|": ("&",), "^": ("|",), "<<": (">>",), ">>": ("<<",), "&&": ("||",), "||": ("&&",),
    "+=": ("-=",), "-=": ("+=",), "*=": ("/=",), "/=": ("*=",), "%=": ("/=",),
    "&=": ("|=",), "|=": ("&=",), "^=": ("|=",), "<<=": (">>=",), ">>=": ("<<=",),
}  # fmt: skip
UNARY = {"++": "--", "--": "++", "!": "", "-": "", "~": ""}
MOST_OF_A_TABLE = 8  # constants of one list of values

FUNCTIONS = {
    CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.CONSTRUCTOR, CursorKind.DESTRUCTOR,
    CursorKind.CONVERSION_FUNCTION, CursorKind.FUNCTION_TEMPLATE,
}  # fmt: skip
# Where a scope's own declarations are looked at.
SCOPES = {
    CursorKind.TRANSLATION_UNIT, CursorKind.NAMESPACE, CursorKind.STRUCT_DECL, CursorKind.CLASS_DECL,
    CursorKind.CLASS_TEMPLATE, CursorKind.LINKAGE_SPEC, CursorKind.UNEXPOSED_DECL,
}  # fmt: skip
INTEGERS = {
    TypeKind.CHAR_U, TypeKind.UCHAR, TypeKind.USHORT, TypeKind.UINT, TypeKind.ULONG, TypeKind.ULONGLONG,
    TypeKind.CHAR_S, TypeKind.SCHAR, TypeKind.SHORT, TypeKind.INT, TypeKind.LONG, TypeKind.LONGLONG,
}  # fmt: skip
REALS = {TypeKind.FLOAT, TypeKind.DOUBLE}


@dataclass(frozen=True)
class Mutant:
    file: str  # below the root
    function: str
    kind: str
    start: int  # bytes of the file
    end: int
    new: str
    line: int
    place: str  # the line with the change in it: {old => new}

    @property
    def key(self) -> str:
        """Names the mutant as long as its line and the function's name stay what they are."""
        return f"{self.file}: {self.function}: {self.place}"


class Finder:
    """Walks one translation unit and gathers the mutants of the files that are wanted."""

    def __init__(self, root: Path, wanted: set[str]):
        self.root, self.wanted = root, wanted
        self.texts: dict[str, bytes] = {}
        self.found: dict[tuple, Mutant] = {}

    def parse(self, source: Path, arguments: list[str]) -> None:
        unit = Index.create().parse(str(source), args=arguments, options=TranslationUnit.PARSE_INCOMPLETE)
        errors = [d.spelling for d in unit.diagnostics if d.severity >= 3]
        if errors:
            raise RuntimeError(f"{source}: clang cannot read it: {errors[0]}")
        self.walk_scope(unit.cursor, "")

    def mutants(self) -> list[Mutant]:
        seen: dict[str, int] = defaultdict(int)
        result = []
        for mutant in sorted(self.found.values(), key=lambda m: (m.file, m.start, m.end, m.new)):
            seen[mutant.key] += 1
            number = seen[mutant.key]
            if number > 1:  # the same line again in one function
                mutant = Mutant(**{**asdict(mutant), "place": f"{mutant.place} #{number}"})
            result.append(mutant)
        return result

    # Declarations

    def file_of(self, cursor) -> str:
        file = cursor.extent.start.file
        if file is None:
            return ""
        path = Path(file.name)
        name = str(path.relative_to(self.root)) if path.is_relative_to(self.root) else ""
        return name if name in self.wanted else ""

    def walk_scope(self, scope, outer: str) -> None:
        for cursor in scope.get_children():
            if not self.file_of(cursor):
                continue
            name = f"{outer}::{cursor.spelling}" if outer else cursor.spelling
            if cursor.kind in FUNCTIONS:
                self.walk_function(cursor, name)
            elif cursor.kind == CursorKind.VAR_DECL:
                self.walk_children(cursor, name)
            elif cursor.kind in SCOPES:
                record = cursor.kind not in (CursorKind.NAMESPACE, CursorKind.LINKAGE_SPEC, CursorKind.UNEXPOSED_DECL)
                self.walk_scope(cursor, name if record else outer)

    def walk_function(self, function, name: str) -> None:
        if not function.is_definition():
            return
        for child in function.get_children():
            if child.kind == CursorKind.COMPOUND_STMT:
                self.walk(child, name)
            elif function.kind == CursorKind.CONSTRUCTOR and child.kind.is_expression():
                self.walk(child, name)

    # Statements and expressions

    def walk_children(self, cursor, name: str) -> None:
        for child in cursor.get_children():
            self.walk(child, name)

    def walk(self, cursor, name: str) -> None:
        kind = cursor.kind
        if kind in (CursorKind.STATIC_ASSERT, CursorKind.CXX_UNARY_EXPR) or not self.file_of(cursor):
            return
        children = list(cursor.get_children())
        for statement in self.statements_in(cursor, children):
            self.removed_statement(statement, name)
        if kind in (CursorKind.BINARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR):
            self.operator(children, name)
        elif kind == CursorKind.UNARY_OPERATOR:
            self.unary(cursor, children, name)
        elif kind in (CursorKind.INTEGER_LITERAL, CursorKind.FLOATING_LITERAL, CursorKind.CXX_BOOL_LITERAL_EXPR):
            self.constant(cursor, name)
        elif kind in (CursorKind.IF_STMT, CursorKind.WHILE_STMT, CursorKind.CONDITIONAL_OPERATOR, CursorKind.DO_STMT):
            self.condition(cursor, children, name)
        elif kind == CursorKind.RETURN_STMT:
            self.returned(children, name)
        elif kind == CursorKind.INIT_LIST_EXPR and len(children) > MOST_OF_A_TABLE:
            place = f"{self.file_of(cursor)}:{name}"
            children = random.Random(place).sample(children, MOST_OF_A_TABLE)
        for child in children:
            self.walk(child, name)

    def statements_in(self, cursor, children: list) -> list:
        kind = cursor.kind
        if kind == CursorKind.COMPOUND_STMT:
            return children
        if kind == CursorKind.IF_STMT:
            return [child for child in children if child.kind == CursorKind.RETURN_STMT or self.follows(child, b")", b"else")]
        if kind in (CursorKind.FOR_STMT, CursorKind.WHILE_STMT, CursorKind.CXX_FOR_RANGE_STMT, CursorKind.CASE_STMT, CursorKind.DEFAULT_STMT):
            return children[-1:]
        return []

    def follows(self, cursor, *before: bytes) -> bool:
        text = self.text(cursor)[: cursor.extent.start.offset].rstrip()
        return text.endswith(before)

    def removed_statement(self, cursor, name: str) -> None:
        if cursor.kind in (CursorKind.BREAK_STMT, CursorKind.CONTINUE_STMT):
            self.add(cursor, name, "jump removed", cursor.extent.start.offset, cursor.extent.end.offset, "")
            return
        if cursor.kind == CursorKind.RETURN_STMT:
            if not list(cursor.get_children()):
                self.add(cursor, name, "jump removed", cursor.extent.start.offset, cursor.extent.end.offset, "")
            return
        if not cursor.kind.is_expression():
            return
        start, end = cursor.extent.start.offset, cursor.extent.end.offset
        text = self.text(cursor)
        if not text[end : end + 8].lstrip().startswith(b";"):
            return
        what = text[start:end]
        assigns = re.search(rb"[^=!<>]=[^=]|\+\+|--", what.split(b"(")[0] + b" ") is not None
        self.add(cursor, name, "assignment removed" if assigns else "call removed", start, end, "(void)0")

    def operator(self, children: list, name: str) -> None:
        if len(children) != 2:
            return
        left, right = children
        start, end = left.extent.end.offset, right.extent.start.offset
        between = self.text(left)[start:end]
        old = between.strip().decode("utf-8", "replace")
        start += len(between) - len(between.lstrip())
        for new in OPERATORS.get(old, ()):
            self.add(left, name, "operator", start, start + len(old), new)

    def unary(self, cursor, children: list, name: str) -> None:
        if len(children) != 1:
            return
        whole, part = cursor.extent, children[0].extent
        text = self.text(cursor)
        prefix = text[whole.start.offset : part.start.offset].strip().decode("utf-8", "replace")
        suffix = text[part.end.offset : whole.end.offset].strip().decode("utf-8", "replace")
        if prefix in UNARY:
            self.add(cursor, name, "operator", whole.start.offset, whole.start.offset + len(prefix), UNARY[prefix])
        elif suffix in ("++", "--"):
            self.add(cursor, name, "operator", whole.end.offset - 2, whole.end.offset, UNARY[suffix])

    def constant(self, cursor, name: str) -> None:
        start, end = cursor.extent.start.offset, cursor.extent.end.offset
        old = self.text(cursor)[start:end].decode("utf-8", "replace")
        if old in ("true", "false"):
            self.add(cursor, name, "constant", start, end, "false" if old == "true" else "true")
            return
        match = re.fullmatch(r"(0[xX][0-9a-fA-F']+|[0-9][0-9']*)([uUlL]*)", old)
        if match:
            value = int(match[1].replace("'", ""), 0 if match[1] != "0" and match[1][0:2] in ("0x", "0X") else 10)
            base, suffix = (hex if "x" in match[1].lower() else str), match[2]
            for near in sorted({value + 1, value - 1, 0} - {value}):
                if near >= 0:
                    self.add(cursor, name, "constant", start, end, base(near) + suffix)
                else:
                    self.add(cursor, name, "constant", start, end, f"({near})")
        elif re.fullmatch(r"[0-9.]+(e[-+]?[0-9]+)?[fF]?", old):
            self.add(cursor, name, "constant", start, end, f"({old} + 1)")
            if float(old.rstrip("fF")) != 0:
                self.add(cursor, name, "constant", start, end, "0.0f" if old[-1] in "fF" else "0.0")

    def compares_equal(self, cursor) -> bool:
        """Then another operator is what negates it."""
        while cursor.kind == CursorKind.UNEXPOSED_EXPR:
            inner = list(cursor.get_children())
            if len(inner) != 1:
                return False
            cursor = inner[0]
        operands = list(cursor.get_children())
        if cursor.kind != CursorKind.BINARY_OPERATOR or len(operands) != 2:
            return False
        between = self.text(cursor)[operands[0].extent.end.offset : operands[1].extent.start.offset]
        return between.strip() in (b"==", b"!=")

    def condition(self, cursor, children: list, name: str) -> None:
        children = [child for child in children if child.kind.is_expression()]
        if not children:
            return
        chosen = children[-1] if cursor.kind == CursorKind.DO_STMT else children[0]
        text = self.text(cursor)
        start, end = chosen.extent.start.offset, chosen.extent.end.offset
        before, after = text[:start].rstrip()[-1:], text[end : end + 200].lstrip()[:1]
        if cursor.kind == CursorKind.CONDITIONAL_OPERATOR:
            if after != b"?":
                return
        elif before not in (b"(", b";") or after != b")":
            return
        if not self.compares_equal(chosen):
            old = text[start:end].decode("utf-8", "replace")
            self.add(cursor, name, "condition", start, end, f"!({old})", shown="!(...)")

    def returned(self, children: list, name: str) -> None:
        if len(children) != 1:
            return
        value = children[0]
        kind = value.type.get_canonical().kind
        start, end = value.extent.start.offset, value.extent.end.offset
        old = self.text(value)[start:end].decode("utf-8", "replace")
        if not old:
            return
        if re.fullmatch(r"[0-9.xXa-fA-F]+[uUlL]*|true|false", old) or self.compares_equal(value):
            return  # changed as a constant, or as an operator
        if kind == TypeKind.BOOL:
            self.add(value, name, "return", start, end, f"!({old})", shown="!(...)")
        elif kind in INTEGERS or kind in REALS:
            self.add(value, name, "return", start, end, f"({old}) + 1", shown="(...) + 1")
            self.add(value, name, "return", start, end, "0")
        elif kind == TypeKind.POINTER and old != "nullptr":
            self.add(value, name, "return", start, end, "nullptr")
        elif kind == TypeKind.ENUM:
            self.add(value, name, "return", start, end, f"static_cast<decltype({old})>(0)", shown="0")
        elif kind == TypeKind.RECORD and old != "{}":
            self.add(value, name, "return", start, end, "{}")

    # What was found

    def text(self, cursor) -> bytes:
        path = cursor.extent.start.file.name
        if path not in self.texts:
            self.texts[path] = Path(path).read_bytes()
        return self.texts[path]

    def add(self, cursor, function: str, kind: str, start: int, end: int, new: str, shown: str | None = None) -> None:
        text, file = self.text(cursor), self.file_of(cursor)
        old = text[start:end].decode("utf-8", "replace")
        if old == new or not file:
            return
        line_start = text.rfind(b"\n", 0, start) + 1
        line_end = text.find(b"\n", end)
        marked = f"{{{old} => {new if shown is None else shown}}}"
        place = text[line_start:start].decode("utf-8", "replace") + marked
        place += text[end : line_end if line_end >= 0 else len(text)].decode("utf-8", "replace")
        line = text.count(b"\n", 0, start) + 1
        mutant = Mutant(file, function, kind, start, end, new, line, " ".join(place.split()))
        self.found.setdefault((file, start, end, new), mutant)


def digest(*parts: bytes) -> str:
    whole = hashlib.sha256()
    for part in parts:
        whole.update(hashlib.sha256(part).digest())
    return whole.hexdigest()[:16]


def find(root: Path, commands: dict[str, list[str]], wanted: set[str], cache: Path) -> list[Mutant]:
    """The mutants of the wanted files; commands has the arguments of clang for each unit, by its name below the root."""
    everything = digest(Path(__file__).read_bytes(), *(f.read_bytes() for f in sorted((root / "src").rglob("*.h"))))
    cache.mkdir(parents=True, exist_ok=True)
    found: dict[tuple, Mutant] = {}
    for name, arguments in sorted(commands.items()):
        state = digest(everything.encode(), (root / name).read_bytes(), " ".join(sorted(wanted)).encode())
        saved = cache / f"{name.replace('/', '-')}.json"
        known = json.loads(saved.read_text()) if saved.exists() else {}
        if known.get("state") != state:
            finder = Finder(root, wanted)
            finder.parse(root / name, arguments)
            known = {"state": state, "mutants": [asdict(m) for m in finder.mutants()]}
            saved.write_text(json.dumps(known))
        for values in known["mutants"]:
            mutant = Mutant(**values)
            found.setdefault((mutant.file, mutant.start, mutant.end, mutant.new), mutant)
    return sorted(found.values(), key=lambda m: (m.file, m.start, m.end, m.new))


def in_order(mutants: list[Mutant], seed: int) -> list[Mutant]:
    """All of them, so that any number from the beginning takes as large a part of every file. Each place of a file
    comes once before one comes again with another change."""
    by_file: dict[str, dict[tuple, list[Mutant]]] = defaultdict(lambda: defaultdict(list))
    for mutant in mutants:
        by_file[mutant.file][mutant.start, mutant.end].append(mutant)
    placed = []
    for file in sorted(by_file):
        dice = random.Random(f"{seed} {file}")
        places = list(by_file[file].values())
        dice.shuffle(places)
        for place in places:
            dice.shuffle(place)
        rounds = max(len(place) for place in places)
        offset = dice.random()
        for turn in range(rounds):
            for i, place in enumerate(places):
                if turn < len(place):
                    placed.append((turn + (i + offset) / len(places), file, place[turn]))
    return [mutant for _, _, mutant in sorted(placed, key=lambda p: p[:2])]
