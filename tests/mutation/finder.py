"""Finds the single changes that can be made to a C++ source, with libclang.

Everything is counted in bytes, as libclang counts, so a source is text in Latin-1 here.
"""

import re
from dataclasses import dataclass

from clang import cindex

OPERATORS = ("comparison", "constant", "statement", "condition", "arguments")

# What a comparison becomes: its neighbour, which differs at the boundary, and its opposite.
TURNED = {
    "==": ("!=",),
    "!=": ("==",),
    "<": ("<=", ">="),
    "<=": ("<", ">"),
    ">": (">=", "<="),
    ">=": (">", "<"),
}

# Traces are left alone: they change nothing, and their texts are compared by tests of their own.
TRACES = ("NOTIF_TRACE", "ORV_TRACE")

# Their arguments can change places: of the latter two only equality is asked.
COMMUTATIVE = ("min", "max", "strcmp", "strncmp")

FUNCTIONS = (
    "FUNCTION_DECL",
    "CXX_METHOD",
    "CONSTRUCTOR",
    "DESTRUCTOR",
    "CONVERSION_FUNCTION",
    "FUNCTION_TEMPLATE",
)
# What stands in a block and is no statement that could be left out by itself.
NOT_REMOVED = (
    "DECL_STMT",
    "IF_STMT",
    "FOR_STMT",
    "CXX_FOR_RANGE_STMT",
    "WHILE_STMT",
    "DO_STMT",
    "SWITCH_STMT",
    "CASE_STMT",
    "DEFAULT_STMT",
    "COMPOUND_STMT",
    "CXX_TRY_STMT",
    "NULL_STMT",
    "LABEL_STMT",
)
ARITHMETIC = (
    "BOOL CHAR_S CHAR_U SCHAR UCHAR SHORT USHORT INT UINT LONG ULONG LONGLONG ULONGLONG FLOAT DOUBLE".split()
)


@dataclass(frozen=True)
class Mutation:
    """One change. What identifies it holds no line number, so it survives changes elsewhere in its file."""

    file: str
    function: str
    operator: str
    text: str  # the line on which the change begins, without its margins
    change: str
    occurrence: int  # 1, or more where one function has the same line and change several times
    line: int
    start: int
    end: int
    replacement: str

    def key(self):
        return (self.file, self.function, self.operator, self.text, self.change, self.occurrence)

    def apply(self, source):
        return source[: self.start] + self.replacement + source[self.end :]


def one_line(text):
    return " ".join(text.split())


def kind_of(cursor):
    try:
        return cursor.kind.name
    except ValueError:  # a kind that the binding does not know
        return ""


def type_of(cursor):
    """The type that decides whether two arguments can change places: without const, also behind a pointer."""
    kind = cursor.type.get_canonical()
    if kind.kind in (cindex.TypeKind.LVALUEREFERENCE, cindex.TypeKind.RVALUEREFERENCE):
        kind = kind.get_pointee()
    if kind.kind.name in ARITHMETIC:
        return "number"
    return re.sub(r"\bconst\b *", "", kind.spelling).strip()


class Finder:
    """Finds the changes of one file. path is what the compiler opens, name what the file is called in the results."""

    def __init__(self, path, name, source, arguments, unit=None):
        self._path = path
        self._name = name
        self._source = source
        self._found = []
        self._macros = []
        index = cindex.Index.create()
        options = cindex.TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD
        contents = [(path, source)] if unit is None else None
        self._unit = index.parse(unit or path, args=list(arguments) + ["-w"], unsaved_files=contents, options=options)
        errors = [str(found) for found in self._unit.diagnostics if found.severity >= cindex.Diagnostic.Error]
        if errors:
            raise ValueError(f"{name} cannot be read: {errors[0]}")

    def find(self):
        """All changes, in the order of the source, each once."""
        top = [cursor for cursor in self._unit.cursor.get_children() if self._is_here(cursor)]
        for cursor in top:
            if kind_of(cursor) == "MACRO_INSTANTIATION":
                self._macros.append((*self._range(cursor), cursor.spelling))
        for cursor in top:
            if not kind_of(cursor).startswith(("MACRO_", "INCLUSION_")):
                self._walk(cursor, "", None)
        return self._numbered()

    def _is_here(self, cursor):
        return cursor.location.file is not None and cursor.location.file.name == self._path

    def _range(self, cursor):
        return cursor.extent.start.offset, cursor.extent.end.offset

    def _text(self, cursor):
        start, end = self._range(cursor)
        return self._source[start:end]

    def _macro_at(self, cursor):
        """The name of the macro that the cursor comes from as a whole."""
        start, end = self._range(cursor)
        for first, last, name in self._macros:
            if first <= start and end <= last:
                return name
        return None

    def _add(self, function, operator, start, end, replacement, change):
        self._found.append((start, end, operator, function, replacement, change))

    def _numbered(self):
        mutations = []
        seen = {}
        for start, end, operator, function, replacement, change in sorted(set(self._found)):
            first = self._source.rfind("\n", 0, start) + 1
            text = self._source[first : self._source.find("\n", start)].strip()
            key = (function, operator, text, change)
            seen[key] = seen.get(key, 0) + 1
            line = self._source.count("\n", 0, start) + 1
            mutations.append(
                Mutation(
                    self._name, function, operator, text, change, seen[key], line, start, end, replacement
                )
            )
        return mutations

    def _walk(self, cursor, function, body):
        """body is the block of the function around, whose last statement a return must not be taken from."""
        kind = kind_of(cursor)
        start, end = self._range(cursor)
        if kind == "STATIC_ASSERT" or start == end or self._macro_at(cursor) is not None:
            return
        children = list(cursor.get_children())
        if kind in FUNCTIONS:
            parent = cursor.semantic_parent
            owner = parent.spelling + "::" if kind_of(parent) in ("CLASS_DECL", "STRUCT_DECL", "CLASS_TEMPLATE") else ""
            function = owner + cursor.spelling
            body = next((child for child in children if kind_of(child) == "COMPOUND_STMT"), None)
        if kind == "LAMBDA_EXPR":
            body = next((child for child in children if kind_of(child) == "COMPOUND_STMT"), None)
        self._constant(cursor, kind, function)
        self._comparison(kind, cursor, children, function)
        self._condition(kind, cursor, children, function)
        if kind == "CALL_EXPR":
            self._arguments(cursor, function)
        if kind == "COMPOUND_STMT":
            for child in children:
                self._statement(child, function, body is not None and cursor == body and child == children[-1])
        elif kind in ("CASE_STMT", "DEFAULT_STMT") and children:
            self._statement(children[-1], function, False)
        for child in children:
            self._walk(child, function, body)

    def _constant(self, cursor, kind, function):
        start, end = self._range(cursor)
        text = self._source[start:end]
        if kind == "CXX_BOOL_LITERAL_EXPR":
            other = "false" if text == "true" else "true"
            self._add(function, "constant", start, end, other, f"{text} -> {other}")
        elif kind == "CHARACTER_LITERAL":
            self._add(function, "constant", start, end, f"static_cast<char>({text} + 1)", f"{text} -> {text} + 1")
        elif kind in ("INTEGER_LITERAL", "FLOATING_LITERAL") and text[0].isdigit():  # no template's parameter
            self._add(function, "constant", start, end, f"({text} + 1)", f"{text} -> {text} + 1")
            if not re.fullmatch(r"0+[uUlL.]*0*[fF]?", text):
                self._add(function, "constant", start, end, f"({text} - 1)", f"{text} -> {text} - 1")

    def _sign(self, cursor, children):
        """(start, end, text) of the sign of an operation with two sides, or None."""
        if len(children) < 2:
            return None
        start = self._range(children[0])[1]
        end = self._range(children[-1])[0]
        found = re.fullmatch(r"(?:\s|\\\n|/\*.*?\*/|//[^\n]*\n|\))*([-+*/%&|^<>=!]+)\s*(?:[^-+*/%&|^<>=!].*)?",
                             self._source[start:end], re.DOTALL)
        if found is None or self._range(cursor)[0] > start:
            return None
        return start + found.start(1), start + found.end(1), found.group(1)

    def _comparison(self, kind, cursor, children, function):
        if kind != "BINARY_OPERATOR" and not (kind == "CALL_EXPR" and cursor.spelling.startswith("operator")):
            return
        sign = self._sign(cursor, children)
        if sign is not None and sign[2] in TURNED:
            for other in TURNED[sign[2]]:
                self._add(function, "comparison", sign[0], sign[1], other, f"{sign[2]} -> {other}")

    def _negate(self, cursor, function, part=False):
        text = self._text(cursor)
        inner = cursor
        while kind_of(inner) in ("UNEXPOSED_EXPR", "PAREN_EXPR"):
            below = list(inner.get_children())
            if len(below) != 1:
                break
            inner = below[0]
        if kind_of(inner) == "CXX_BOOL_LITERAL_EXPR":
            return  # the constant is changed already
        if kind_of(inner) == "BINARY_OPERATOR" or inner.spelling.startswith("operator"):
            sign = self._sign(inner, list(inner.get_children()))
            if sign is not None and sign[2] in TURNED:
                return  # the turned comparison is the same
            if sign is not None and sign[2] in ("&&", "||") and part:
                return  # its own parts are negated
        start, end = self._range(cursor)
        short = one_line(text)
        self._add(function, "condition", start, end, f"!({text})", f"{short} -> !({short})")

    def _condition(self, kind, cursor, children, function):
        if kind in ("IF_STMT", "WHILE_STMT"):
            conditions = [child for child in children if kind_of(child).endswith(("_EXPR", "_OPERATOR", "_LITERAL"))]
            if conditions and not self._source.startswith("if constexpr", self._range(cursor)[0]):
                self._negate(conditions[0], function)
        elif kind == "DO_STMT" and len(children) == 2:
            self._negate(children[1], function)
        elif kind == "FOR_STMT":
            condition = self._of_for(cursor, children)
            if condition is not None:
                self._negate(condition, function)
        elif kind == "CONDITIONAL_OPERATOR" and len(children) == 3:
            self._negate(children[0], function)
        elif kind == "BINARY_OPERATOR":
            sign = self._sign(cursor, children)
            if sign is not None and sign[2] in ("&&", "||"):
                for side in (children[0], children[-1]):
                    if self._macro_at(side) is None:
                        self._negate(side, function, part=True)

    def _of_for(self, cursor, children):
        """The child between the two semicolons of a for statement's head."""
        start = self._range(cursor)[0]
        end = self._range(children[-1])[0]
        semicolons = [place for place in range(start, end) if self._source[place] == ";"]
        if len(semicolons) != 2:
            return None
        for child in children[:-1]:
            first, last = self._range(child)
            if semicolons[0] < first and last <= semicolons[1]:
                return child
        return None

    def _statement(self, cursor, function, is_last):
        kind = kind_of(cursor)
        start, end = self._range(cursor)
        macro = self._macro_at(cursor)
        if macro in TRACES:
            return
        if macro is None:
            if kind == "DECL_STMT" and not self._is_guard(cursor):
                return
            if kind in NOT_REMOVED and kind != "DECL_STMT":
                return
            # Nothing happens in a cast to void, and without its last return a function is none.
            if self._text(cursor).startswith(("static_cast<void>", "(void)")):
                return
            if kind == "RETURN_STMT" and is_last and self._text(cursor) != "return":
                return
        if self._text(cursor).endswith(";"):
            semicolon = end - 1
        else:
            semicolon = self._source.find(";", end)
            if semicolon < 0 or self._source[end:semicolon].strip():
                return
        lines = "\n" * self._source.count("\n", start, semicolon)
        self._add(function, "statement", start, semicolon + 1, ";" + lines, "removed")

    def _is_guard(self, cursor):
        """An object that is named once, where it is made, and is there for what its making and its end do."""
        variables = list(cursor.get_children())
        if len(variables) != 1 or kind_of(variables[0]) != "VAR_DECL":
            return False
        return re.search(r"(Lock|Guard|Scope)\b", self._text(cursor).split("(")[0]) is not None

    def _arguments(self, cursor, function):
        if cursor.spelling.startswith("operator") or cursor.spelling in COMMUTATIVE:
            return
        given = [argument for argument in cursor.get_arguments() if argument is not None]
        for left, right in zip(given, given[1:]):
            first, second = self._text(left), self._text(right)
            start, end = self._range(left)[0], self._range(right)[1]
            if not first or not second or first == second or self._range(left)[1] > self._range(right)[0]:
                continue
            if self._macro_at(left) is not None or self._macro_at(right) is not None:
                continue
            if type_of(left) != type_of(right):
                continue
            between = self._source[self._range(left)[1] : self._range(right)[0]]
            if between.strip() != ",":
                continue
            self._add(
                function,
                "arguments",
                start,
                end,
                second + between + first,
                f"{one_line(first)}, {one_line(second)} -> {one_line(second)}, {one_line(first)}",
            )
