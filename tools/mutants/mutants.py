"""Finds what can be mutated in a C++ source, by clang's parser, which knows what an operator means and
what a macro made."""
import bisect
import collections
import dataclasses
import re

from clang import cindex
from clang.cindex import CursorKind as Kind, TypeKind

NEGATIONS = {"<": ">=", "<=": ">", ">": "<=", ">=": "<", "==": "!=", "!=": "=="}
BOUNDARIES = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}
SWAPS = {"&&": "||", "||": "&&", "+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "&": "|",
         "|": "&", "^": "&", "<<": ">>", ">>": "<<"}
STEPS = {"++": "--", "--": "++"}

LITERALS = {Kind.INTEGER_LITERAL, Kind.FLOATING_LITERAL, Kind.CHARACTER_LITERAL}
FUNCTIONS = {Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR,
             Kind.CONVERSION_FUNCTION, Kind.FUNCTION_TEMPLATE}
VARIABLES = {Kind.VAR_DECL, Kind.FIELD_DECL, Kind.PARM_DECL}
# What the compiler alone evaluates, or what is no code.
LEFT_OUT = {Kind.STATIC_ASSERT, Kind.ENUM_DECL, Kind.TEMPLATE_TYPE_PARAMETER,
            Kind.TEMPLATE_NON_TYPE_PARAMETER, Kind.TYPEDEF_DECL, Kind.TYPE_ALIAS_DECL,
            Kind.TYPE_ALIAS_TEMPLATE_DECL, Kind.CXX_UNARY_EXPR, Kind.ALIGNED_ATTR,
            Kind.UNEXPOSED_ATTR, Kind.DECL_REF_EXPR, Kind.TYPE_REF, Kind.TEMPLATE_REF,
            Kind.CXX_BASE_SPECIFIER, Kind.FRIEND_DECL}
# Statements that leave the value of their expression unused.
BODIES = {Kind.COMPOUND_STMT, Kind.IF_STMT, Kind.FOR_STMT, Kind.WHILE_STMT, Kind.DO_STMT,
          Kind.CXX_FOR_RANGE_STMT, Kind.CASE_STMT, Kind.DEFAULT_STMT}
JUMPS = {Kind.BREAK_STMT, Kind.CONTINUE_STMT, Kind.RETURN_STMT}

NUMBERS = {TypeKind.CHAR_S, TypeKind.SCHAR, TypeKind.UCHAR, TypeKind.SHORT, TypeKind.USHORT,
           TypeKind.INT, TypeKind.UINT, TypeKind.LONG, TypeKind.ULONG, TypeKind.LONGLONG,
           TypeKind.ULONGLONG, TypeKind.FLOAT, TypeKind.DOUBLE}
EMPTY = {"nullptr", "std::nullopt", "{}"}


@dataclasses.dataclass
class Mutant:
    file: str
    line: int
    old: str
    new: str
    number: int = 0

    def __str__(self):
        return f"{self.file}:{self.line}: {self.old} -> {self.new}"


@dataclasses.dataclass
class Place:
    """Bytes of a source, and what stands there instead if a mutant is on."""
    start: int
    end: int
    form: str
    switch: str
    alternatives: list = dataclasses.field(default_factory=list)


@dataclasses.dataclass(frozen=True)
class Context:
    """Where a place stands."""
    returns_nothing: bool = True
    may_be_constant: bool = False
    compile_time: bool = False
    # Where the return stands that ends the function, and whether any may return "{}" instead.
    last_return: int = 0
    may_return_empty: bool = False
    # Where the word constexpr of the variable stands whose initialiser this is.
    constant: int | None = None


def one_line(text):
    return " ".join(text.split())


class Source:
    """One file of src/, its places and their mutants."""

    def __init__(self, path, name, options):
        self.name = name
        self.bytes = path.read_bytes()
        self.lines = [0] + [m.end() for m in re.finditer(b"\n", self.bytes)]
        self.places = {}
        self.constants = {}
        unit = cindex.Index.create().parse(
            str(path), args=options,
            options=cindex.TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)
        errors = [d for d in unit.diagnostics if d.severity >= cindex.Diagnostic.Error]
        if errors:
            raise RuntimeError(f"clang can't parse {name}: {errors[0]}")
        # Of the many macros of all headers too, so not by the name of the file, which is slow.
        is_own = cindex.conf.lib.clang_Location_isFromMainFile
        own = [c for c in unit.cursor.get_children() if is_own(c.location)]
        self.macros = sorted(self.extent(c) for c in own if c.kind == Kind.MACRO_INSTANTIATION)
        for cursor in own:
            if not cursor.kind.is_preprocessing():
                self.visit(cursor, Context())
        self.tell_apart()

    # Texts

    @staticmethod
    def extent(cursor):
        return cursor.extent.start.offset, cursor.extent.end.offset

    def text(self, start, end):
        return self.bytes[start:end].decode()

    def text_of(self, cursor):
        return self.text(*self.extent(cursor))

    def line_of(self, offset):
        return bisect.bisect_right(self.lines, offset)

    def is_in_macro(self, start, end):
        return any(a <= start and end <= b for a, b in self.macros)

    def is_whole_macro(self, start, end):
        return (start, end) in self.macros

    # Places

    def add(self, extent, form, code, context, old=None, new=None):
        """@p code stands there instead; @p old and @p new are for the eyes."""
        start, end = extent
        if start >= end or context.compile_time:
            return
        if self.is_in_macro(start, end) and not (
                form in ("statement", "void") and self.is_whole_macro(start, end)):
            return
        switch = "onAtRunTime" if context.may_be_constant else "on"
        place = self.places.setdefault((start, end, form), Place(start, end, form, switch))
        mutant = Mutant(self.name, self.line_of(start), one_line(old or self.text(start, end)),
                        one_line(new if new is not None else code))
        place.alternatives.append((code, mutant))
        if context.constant is not None:
            self.constants.setdefault(context.constant, []).append(mutant)

    # The walk through the tree

    def visit(self, cursor, context):
        kind = cursor.kind
        if kind in LEFT_OUT or (kind == Kind.FIELD_DECL and cursor.is_bitfield()):
            return
        if kind in FUNCTIONS:
            context = self.function_context(cursor)
        elif kind == Kind.LAMBDA_EXPR:
            context = Context(returns_nothing=False, may_be_constant=context.may_be_constant,
                              compile_time=context.compile_time,
                              last_return=self.last_return(cursor))
        elif kind == Kind.VAR_DECL:
            context = self.variable_context(cursor, context)
        self.mutate(cursor, context)
        for child in self.children_to_visit(cursor):
            self.mutate_statement(cursor, child, context)
            # A macro's arguments may be its text too.
            if not self.is_in_macro(*self.extent(child)):
                self.visit(child, context)

    def children_to_visit(self, cursor):
        children = list(cursor.get_children())
        if cursor.kind == Kind.CASE_STMT:
            return children[1:]
        if cursor.kind == Kind.MEMBER_REF_EXPR:
            return children[:1]
        if cursor.kind == Kind.UNARY_OPERATOR and children[0].kind in LITERALS:
            return []
        if cursor.kind in VARIABLES:
            return [c for c in children if self.is_initialiser(c)]
        return children

    def is_initialiser(self, cursor):
        """And neither an array's bound nor a template's argument."""
        start = cursor.extent.start.offset
        before = self.bytes[:start].rstrip()[-1:]
        return cursor.kind.is_expression() and (
            before in (b"=", b"{", b"(")
            or cursor.kind in (Kind.INIT_LIST_EXPR, Kind.CALL_EXPR, Kind.LAMBDA_EXPR))

    def head_of(self, cursor):
        start = cursor.extent.start.offset
        return self.text(start, max(start, cursor.location.offset))

    def function_context(self, cursor):
        head = self.head_of(cursor)
        result = cursor.result_type
        returns_nothing = (result.spelling == "void"
                           or cursor.kind in (Kind.CONSTRUCTOR, Kind.DESTRUCTOR))
        return Context(returns_nothing=returns_nothing, may_be_constant="constexpr" in head,
                       compile_time="consteval" in head, last_return=self.last_return(cursor),
                       may_return_empty="auto" not in head and "&" not in result.spelling)

    def last_return(self, function):
        """Where the statement stands that ends it, if that returns."""
        body = list(function.get_children())[-1:]
        last = list(body[0].get_children())[-1:] if body else []
        return self.extent(last[0])[0] if last and last[0].kind == Kind.RETURN_STMT else 0

    def variable_context(self, cursor, context):
        """A `constexpr` variable becomes a `const` one, whose value a switch can tell."""
        found = re.search(r"\bconstexpr\b", self.head_of(cursor))
        if not found:
            return context
        start = cursor.extent.start.offset + found.start()
        in_class = cursor.semantic_parent.kind in (Kind.STRUCT_DECL, Kind.CLASS_DECL,
                                                   Kind.CLASS_TEMPLATE)
        return dataclasses.replace(context, constant=start,
                                   compile_time=context.compile_time or in_class)

    def mutate(self, cursor, context):
        kind = cursor.kind
        extent = self.extent(cursor)
        if kind == Kind.BINARY_OPERATOR or kind == Kind.COMPOUND_ASSIGNMENT_OPERATOR:
            self.mutate_operator(cursor, context)
        elif kind == Kind.CALL_EXPR or kind == Kind.UNEXPOSED_EXPR:
            self.mutate_operator_of_objects(cursor, context)
            for argument in cursor.get_arguments():
                self.mutate_named_constant(argument, context)
        elif kind == Kind.UNARY_OPERATOR:
            self.mutate_sign(cursor, context)
        elif kind in LITERALS:
            self.mutate_number(extent, context)
        elif kind == Kind.CXX_BOOL_LITERAL_EXPR:
            other = {"true": "false", "false": "true"}.get(self.text(*extent))
            if other:
                self.add(extent, "value", other, context)
        elif kind == Kind.STRING_LITERAL:
            text = self.text(*extent)
            if text.startswith('"') and text != '""' and "\n" not in text:
                self.add(extent, "value", '""', context)
        elif kind == Kind.CONDITIONAL_OPERATOR:
            self.negate(next(cursor.get_children()), context)
        elif kind in (Kind.IF_STMT, Kind.WHILE_STMT):
            self.negate_condition(cursor, context)
        elif kind == Kind.RETURN_STMT and self.text_of(cursor).startswith("return"):
            # The others are those of a comparison that the compiler makes.
            for value in cursor.get_children():
                self.mutate_result(cursor, value, context)

    def operands(self, cursor):
        """The extents of both, and the operator that stands between them."""
        children = list(cursor.get_children())
        if len(children) == 3:
            del children[1]  # the name of an operator function
        if len(children) != 2:
            return None
        left, right = map(self.extent, children)
        if not left[1] <= right[0]:
            return None
        return left, right, self.text(left[1], right[0]).strip()

    def mutate_operator(self, cursor, context):
        operands = self.operands(cursor)
        if operands is None:
            return
        (start, left), (right, end), operator = operands
        for table in (NEGATIONS, BOUNDARIES, SWAPS):
            if operator in table:
                self.replace_operator((start, left, right, end), table[operator], context)
        if operator.endswith("=") and operator[:-1] in SWAPS:
            self.replace_operator((start, left, right, end), SWAPS[operator[:-1]] + "=", context)

    def replace_operator(self, offsets, operator, context):
        start, left, right, end = offsets
        code = f"{self.text(start, left)} {operator} {self.text(right, end)}"
        self.add((start, end), "value", code, context)

    def mutate_operator_of_objects(self, cursor, context):
        """Texts can be added alone."""
        operands = self.operands(cursor)
        if operands is None:
            return
        (start, left), (right, end), operator = operands
        for table in (NEGATIONS, BOUNDARIES):
            if operator in table:
                self.replace_operator((start, left, right, end), table[operator], context)
        if operator in ("+", "-") and "string" not in cursor.type.get_canonical().spelling:
            self.replace_operator((start, left, right, end), SWAPS[operator], context)

    def mutate_sign(self, cursor, context):
        start, end = self.extent(cursor)
        [operand] = cursor.get_children()
        inner_start, inner_end = self.extent(operand)
        prefix = self.text(start, inner_start).strip()
        operand_text = self.text(inner_start, inner_end)
        if prefix == "!":
            self.add((start, end), "value", f"!!({operand_text})", context, new=operand_text)
        elif prefix in ("-", "~"):
            self.add((start, end), "value", operand_text, context)
        elif prefix in STEPS:
            self.add((start, end), "value", STEPS[prefix] + operand_text, context)
        suffix = self.text(inner_end, end).strip()
        if suffix in STEPS:
            self.add((start, end), "value", operand_text + STEPS[suffix], context)

    def mutate_number(self, extent, context):
        text = self.text(*extent)
        self.add(extent, "value", f"decltype({text})({text} + 1)", context, new=f"{text} + 1")

    def mutate_named_constant(self, argument, context):
        name = self.bare(argument)
        named = name.referenced if name.kind == Kind.DECL_REF_EXPR else None
        if named is None:
            return
        extent = self.extent(argument)
        text = self.text(*extent)
        if named.kind == Kind.ENUM_CONSTANT_DECL:
            code = f"static_cast<decltype({text})>(static_cast<int>({text}) + 1)"
            self.add(extent, "value", code, context, new=f"{text} + 1")
        elif (named.kind == Kind.VAR_DECL and named.type.is_const_qualified()
              and named.type.get_canonical().kind in NUMBERS):
            self.mutate_number(extent, context)

    def mutate_result(self, statement, value, context):
        """Unless another mutant does the same to a constant."""
        extent = self.extent(value)
        text = self.text(*extent)
        value_type = value.type.get_canonical()
        if value_type.kind == TypeKind.BOOL:
            if self.bare(value).kind != Kind.CXX_BOOL_LITERAL_EXPR:
                self.negate(value, context)
        elif value_type.kind in NUMBERS:
            name = value_type.spelling.removeprefix("const ")
            if text != "0":
                self.add(extent, "value", f"static_cast<{name}>(0)", context, new="0")
            if self.bare(value).kind not in LITERALS:
                self.add(extent, "value", f"static_cast<{name}>(({text}) + 1)", context,
                         new=f"({text}) + 1")
        elif (value_type.kind in (TypeKind.RECORD, TypeKind.POINTER) and context.may_return_empty
              and text not in EMPTY):
            self.add(self.extent(statement), "result", "return {};", context)

    def bare(self, cursor):
        """Without the conversions around it that have no text."""
        extent = self.extent(cursor)
        while (children := list(cursor.get_children())) and self.extent(children[0]) == extent:
            cursor = children[0]
        return cursor

    def negate_condition(self, cursor, context):
        """Unless it declares a variable."""
        children = list(cursor.get_children())
        bodies = [c for c in children if c.kind.is_statement()]
        conditions = [c for c in children if c.kind.is_expression()
                      and (not bodies or c.extent.end.offset < bodies[0].extent.start.offset)]
        if children and children[0].kind.is_expression() and conditions:
            self.negate(children[0], context)

    def negate(self, condition, context):
        """Unless another mutant does so: that of a comparison or of a "!"."""
        extent = self.extent(condition)
        text = self.text(*extent)
        condition = self.bare(condition)
        operands = self.operands(condition)
        if ((condition.kind == Kind.UNARY_OPERATOR and text.startswith("!"))
                or (operands and operands[2] in NEGATIONS)):
            return
        self.add(extent, "condition", f"!({text})", context)

    def mutate_statement(self, parent, child, context):
        """Deletes it, unless a function would end without its value."""
        if parent.kind not in BODIES or not self.is_body(parent, child):
            return
        extent = self.extent(child)
        new = "(deleted)"
        if child.kind in JUMPS:
            returns_value = child.kind == Kind.RETURN_STMT and list(child.get_children())
            if not returns_value or self.is_followed(extent, context):
                self.add(extent, "statement", "", context, new=new)
        elif child.kind == Kind.CXX_THROW_EXPR or self.is_whole_macro(*extent):
            if context.returns_nothing or not self.text_of(child).startswith(("throw", "VX_THROW(")):
                self.add(extent, "statement", "", context, new=new)
        elif child.kind.is_expression():
            self.add(extent, "void", "", context, new=new)

    def is_followed(self, extent, context):
        """By another return, or by the next label."""
        start, end = extent
        behind = self.bytes[end:].lstrip(b"; \n")
        return start < context.last_return or behind.startswith((b"case ", b"default:"))

    def is_body(self, parent, child):
        """And no condition or step of a loop. Bodies follow the parenthesis, or what is no body."""
        if parent.kind == Kind.COMPOUND_STMT:
            return True
        if parent.kind in (Kind.CASE_STMT, Kind.DEFAULT_STMT):
            return self.bytes[:child.extent.start.offset].rstrip().endswith(b":")
        end = child.extent.end.offset
        before = self.bytes[:child.extent.start.offset].rstrip()
        follows = self.bytes[end:].lstrip()[:1] == b";" or self.bytes[end - 1:end] in b";}"
        return follows and before.endswith((b")", b"else", b"do"))

    # What was found

    def tell_apart(self):
        """Those of a line that look the same."""
        seen = collections.Counter()
        for mutant in self.mutants():
            look = mutant.line, mutant.old, mutant.new
            seen[look] += 1
            if seen[look] > 1:
                mutant.old += f" (no. {seen[look]} in the line)"

    def mutants(self):
        return [mutant for place in self.sorted_places() for _, mutant in place.alternatives]

    def sorted_places(self):
        rank = {"statement": 0, "result": 1, "void": 2, "condition": 3, "value": 4}
        return sorted(self.places.values(), key=lambda p: (p.start, -p.end, rank[p.form]))

    def mutants_of_early_constants(self):
        """Those of a constant of the support library that stands outside of functions: with a switch
        it gets its value at run time, and static objects log before that."""
        return {m.number for start, mutants in self.constants.items()
                if self.name.startswith("src/vx/") and start in self.lines for m in mutants}

    def mutants_of_constant_in_line(self, line):
        return {m.number for start, mutants in self.constants.items()
                if self.line_of(start) == line for m in mutants}
