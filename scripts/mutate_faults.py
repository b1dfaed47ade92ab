"""Finds the places of a C++ source where a small fault can be set, for mutate.py.

No parser, only a scan: comments, texts and preprocessor lines are blanked at their length, braces
tell where functions are, and the rest leans on the tree's format (binary operators stand between
blanks, a template's angle brackets don't). What it guesses wrong doesn't compile and costs a second.
"""

import bisect
import hashlib
import re
from dataclasses import dataclass


@dataclass(frozen=True)
class Fault:
    """One edit of one file: bytes `start` to `end` become `after`."""

    path: str
    start: int
    end: int
    kind: str
    line: int
    before: str
    after: str

    @property
    def id(self):
        key = f"{self.path}:{self.line}:{self.start}:{self.kind}:{self.after}"
        return hashlib.sha1(key.encode()).hexdigest()[:8]

    def applied(self, text):
        return text[: self.start] + self.after + text[self.end :]


# --- What isn't code --------------------------------------------------------------------------

BLANKED = re.compile(
    r"""//[^\n]* | /\*.*?\*/ | R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)"
      | "(?:\\.|[^"\\\n])*" | (?<![0-9a-fA-F])'(?:\\.|[^'\\\n])+'
      | ^[ ]*\#(?:[^\n]*\\\n)*[^\n]*""",
    re.X | re.S | re.M,
)


def masked(text):
    """`text` at its length, with comments and preprocessor lines blank and texts hollow."""

    def hollow(match):
        found = match.group()
        if found[0] in "\"'" or found.startswith('R"'):
            return found[0] + "_" * (len(found) - 2) + found[-1]
        return re.sub(r"[^\n]", " ", found)

    return BLANKED.sub(hollow, text)


# --- Where functions are ----------------------------------------------------------------------

SCOPE_HEAD = re.compile(r"^\s*(?:template\b.*>\s*)?(?:inline\s+)?(?:namespace|class|struct|union|"
                        r"extern\s+\"_*\")", re.S)


def scope_kind(head, outer):
    """What the brace behind `head` opens: "scope", "data" (skipped) or "function"."""
    if outer in ("function", "data"):
        return outer
    if re.match(r"\s*(?:static_assert|enum)\b", head):
        return "data"
    if SCOPE_HEAD.match(head) and not head.rstrip().endswith(")"):
        return "scope"
    if re.search(r"[^=!<>+\-]=\s*$", head) or "(" not in head:
        return "data"
    return "function"


def function_bodies(code):
    """(start, end) of each outermost function body, with a constructor's initializers."""
    bodies, stack, head_start = [], [], 0
    for match in re.finditer(r"[;{}]", code):
        at, sign = match.start(), match.group()
        if sign == "{":
            outer = stack[-1][0] if stack else "scope"
            head = code[head_start:at]
            stack.append((scope_kind(head, outer), outer, body_start(head, head_start, at)))
        elif sign == "}" and stack:
            kind, outer, start = stack.pop()
            if kind == "function" and outer == "scope":
                bodies.append((start, at))
        head_start = at + 1
    return bodies


def body_start(head, head_start, brace):
    initializers = re.search(r"\)\s*(?:noexcept)?\s*:\s", head)
    return head_start + initializers.end() if initializers else brace


def template_regions(code):
    """(start, end) of what follows each `template <...>` up to the end of its declaration."""
    regions = []
    for match in re.finditer(r"\btemplate\s*<", code):
        opening = re.compile(r"[{;]").search(code, match.end())
        if opening:
            end = matching(code, opening.start(), "{", "}") if opening.group() == "{" else opening.end()
            regions.append((match.start(), end))
    return regions


def matching(code, at, opening, closing):
    """The place of the bracket that closes the one at `at`."""
    depth = 0
    for match in re.compile("[" + re.escape(opening + closing) + "]").finditer(code, at):
        depth += 1 if match.group() == opening else -1
        if depth == 0:
            return match.start()
    return len(code) - 1


# --- Statements -------------------------------------------------------------------------------

LABEL = re.compile(r"(?:case\b[^:;]*(?:::[^:;]*)*:|default:|\w+:(?!:)|else\b|do\b|try\b)\s*")
HEAD = re.compile(r"(if|for|while|switch|catch)(?:\s+constexpr)?\s*\(")
OTHER = re.compile(r"(?:return|throw|goto|using|typedef|static_assert|static|constexpr|const|auto|"
                   r"struct|class|enum|extern|case|new|template|ZOR_ASSERT\w*)\b")
CALL = re.compile(r"(?:::)?[A-Za-z_]\w*(?:(?:::|\.|->)~?\w+|<[^;<>]*>(?=\()|\(.*?\)|\[.*?\])*(?<=\))$", re.S)
CAST_CALL = re.compile(r"\(?(?:void|static_cast<void>)\)?\(?.*\)$", re.S)
STREAM = re.compile(r"[\w.\->()\[\]*:]+\s<<\s", re.S)
ASSIGN = re.compile(r"\*?[A-Za-z_][\w.:]*(?:->[\w.]+|\[[^\]]*\]|\([^)]*\)->\w+|\.\w+)*\s"
                    r"(?:[-+|&*/^%]|<<|>>)?=\s", re.S)
STEP = re.compile(r"(?:\+\+|--)[\w.\->\[\]()*]+$|[\w.\->\[\]()*]+(?:\+\+|--)$")
GUARD = re.compile(r"(?:const\s+)?(?:\w+::)*\w*(?:lock_guard|unique_lock|scoped_lock|Hold)\w*\s+(\w+)\(")


@dataclass(frozen=True)
class Statement:
    start: int  # at its first letter
    end: int  # behind its semicolon
    kind: str  # "call", "assignment", "step", "jump", "return", "other"
    group: int  # statements of one group follow each other without a head or brace between


def statement_kind(text):
    if re.fullmatch(r"(?:break|continue|return)", text):
        return "jump"
    if text.startswith("return"):
        return "return"
    if re.match(r"delete\b", text) or GUARD.match(text) and "," not in text.split("(")[0]:
        return "call"
    if OTHER.match(text):
        return "other"
    if STEP.fullmatch(text):
        return "step"
    if ASSIGN.match(text):
        return "assignment"
    if CALL.fullmatch(text) or STREAM.match(text) or CAST_CALL.fullmatch(text):
        return "call"
    return "other"


def statements(code, body):
    """The statements of a function body, blocks of lambdas and control heads included."""
    found, at, group, end = [], body[0], 0, body[1]
    while at < end:
        blank = re.compile(r"[\s{}]*").match(code, at, end)
        group += any(c in "{}" for c in blank.group())
        at = blank.end()
        label = LABEL.match(code, at, end)
        head = HEAD.match(code, at, end)
        if label or head:
            at = label.end() if label else matching(code, head.end() - 1, "(", ")") + 1
            group += 1
            continue
        stop = statement_end(code, at, end)
        if code[stop : stop + 1] == ";":
            text = code[at:stop].strip()
            found.append(Statement(at, stop + 1, statement_kind(text), group))
        at = stop + 1
    return found


def statement_end(code, at, end):
    """The place of the `;` that ends the statement, or of the brace that opens a block in it."""
    depth = 0
    for place in range(at, end):
        sign = code[place]
        if sign in "([":
            depth += 1
        elif sign in ")]":
            depth -= 1
        elif sign == ";" and depth <= 0:
            return place
        elif sign == "{" and re.search(r"(?:\)|\]|mutable|\w)\s$", code[:place][-12:]):
            return place  # a block; a value's braces stand without a blank in front
        elif sign == "}" and depth > 0:
            continue
    return end


# --- Faults -----------------------------------------------------------------------------------

TURNED = {"==": "!=", "!=": "==", "<": ">=", ">": "<=", "<=": ">", ">=": "<"}
SHIFTED = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}
OPERATORS = [
    (re.compile(r"(?<=[\s)])(==|!=|<=|>=|<|>)(?=\s)"), "comparison turned", TURNED),
    (re.compile(r"(?<=[\s)])(<=|>=|<|>)(?=\s)"), "comparison shifted", SHIFTED),
    (re.compile(r"(?<=\s)(&&|\|\|)(?=\s)"), "connective", {"&&": "||", "||": "&&"}),
    (re.compile(r"(?<=\s)(\+|-|\*|/|%)(?=\s)"), "sign",
     {"+": "-", "-": "+", "*": "/", "/": "*", "%": "/"}),
    (re.compile(r"(?<=\s)(\+=|-=)(?=\s)"), "sign", {"+=": "-=", "-=": "+="}),
    (re.compile(r"(\+\+|--)"), "sign", {"++": "--", "--": "++"}),
    (re.compile(r"(?<=\s)(&|\||&=|\|=)(?=\s)"), "bits", {"&": "|", "|": "&", "&=": "|=", "|=": "&="}),
    (re.compile(r"(?<=[(\s!])(!|~)(?=[\w(:*])"), "negation left out", {"!": "", "~": ""}),
    (re.compile(r"(?<=[(,=?:<]\s)(-)(?=\w)|(?<=\()(-)(?=\w)|(?<=return )(-)(?=\w)"), "sign", {"-": ""}),
]
NUMBER = re.compile(r"(?<![\w.'])(?:0x[0-9a-fA-F']+|\d[\d']*)(?:[uUlL]*)(?![\w.'])|\b(?:true|false)\b")
LONE_CHARACTER = re.compile(r"'_+'")
NAMED_CONSTANT = re.compile(r"^[^\n=]*\bconstexpr\s[^\n=(\[]*\bk[A-Z]\w*\s*=\s[^{}\n]*;", re.M)
MEMBER_START = re.compile(r"^[ ]+[^\n=()]*\b\w+(?: = |\{)[^\n{}()]*\}?;", re.M)


class Finder:
    """All faults of one file; `find` gives them in the order of the text."""

    def __init__(self, path, text):
        self.path, self.text, self.code = path, text, masked(text)
        self.line_starts = [0] + [m.end() for m in re.finditer("\n", text)]
        self.faults = {}

    def find(self):
        for body in function_bodies(self.code):
            found = statements(self.code, body)
            self.operators(body)
            self.constants(body)
            self.conditions(body)
            self.loop_bounds(body)
            self.left_out(found)
            self.results(found)
            self.swaps(found)
        self.values_outside_functions()
        return sorted(self.faults.values(), key=lambda fault: (fault.start, fault.kind, fault.after))

    def add(self, start, end, kind, after):
        before = self.text[start:end]
        if before != after and "static_assert" not in self.line_at(start):
            line = bisect.bisect_right(self.line_starts, start)
            fault = Fault(self.path, start, end, kind, line, before, after)
            self.faults[(start, end, after)] = fault

    def line_at(self, place):
        line = bisect.bisect_right(self.line_starts, place)
        return self.text[self.line_starts[line - 1] :].split("\n", 1)[0]

    def operators(self, body):
        for pattern, kind, table in OPERATORS:
            for match in pattern.finditer(self.code, *body):
                self.add(match.start(), match.end(), kind, table[match.group()])

    def constants(self, body):
        for match in NUMBER.finditer(self.code, *body):
            for after in other_numbers(match.group()):
                self.add(match.start(), match.end(), "constant", after)
        for match in LONE_CHARACTER.finditer(self.code, *body):
            after = "'!'" if self.text[match.start() : match.end()] == "'_'" else "'_'"
            self.add(match.start(), match.end(), "constant", after)

    def conditions(self, body):
        for match in re.compile(r"\b(if|while)\s*\(").finditer(self.code, *body):
            start = match.end()
            end = matching(self.code, start - 1, "(", ")")
            start += self.code[start:end].rfind(";") + 1
            if re.search(r"\w[\s*&]+\w+ = ", self.code[start:end]):
                continue  # a name is declared there
            self.add(start, end, "condition fixed", "false")
            if match.group(1) == "if":
                self.add(start, end, "condition fixed", "true")

    def loop_bounds(self, body):
        for match in re.compile(r"\bfor\s*\(").finditer(self.code, *body):
            end = matching(self.code, match.end() - 1, "(", ")")
            parts = self.code[match.end() : end].split(";")
            if len(parts) != 3 or not parts[1].strip():
                continue
            start = match.end() + len(parts[0]) + 1
            stop = start + len(parts[1])
            bound = re.search(r" (?:<|<=|>|>=|!=) (?=[^&|]*$)", parts[1])
            if bound:
                self.add(start + bound.end(), stop, "loop bound",
                         f"({self.text[start + bound.end():stop]}) - 1")
            self.add(start, stop, "loop bound", " false")

    def left_out(self, found):
        kinds = {"call": "call left out", "assignment": "assignment left out",
                 "step": "assignment left out", "jump": "jump left out"}
        for s in found:
            if s.kind in kinds:
                lines = "\n" * self.text.count("\n", s.start, s.end)
                self.add(s.start, s.end, kinds[s.kind], ";" + lines)
            if s.kind == "jump" and self.text[s.start : s.end] == "continue;":
                self.add(s.start, s.end, "jump left out", "break;")

    def results(self, found):
        for s in found:
            value = self.text[s.start + len("return") : s.end - 1].strip()
            if s.kind != "return" or value in ("*this", "0", "nullptr", "false", "{}"):
                continue
            lines = "\n" * self.text.count("\n", s.start, s.end)
            self.add(s.start, s.end, "result replaced", "return {};" + lines)
            if re.search(r" (?:==|!=|<|>|<=|>=|&&|\|\|) |^!", value):
                self.add(s.start, s.end, "result replaced", f"return !({value});")

    def swaps(self, found):
        simple = ("call", "assignment", "step")
        for first, second in zip(found, found[1:]):
            between = self.code[first.end : second.start]
            if first.group != second.group or between.strip():
                continue
            if first.kind in simple and second.kind in simple:
                one, two = self.text[first.start : first.end], self.text[second.start : second.end]
                after = two + self.text[first.end : second.start] + one
                self.add(first.start, second.end, "neighbours swapped", after)

    def values_outside_functions(self):
        """Named constants, and the values that members start with."""
        bodies = function_bodies(self.code)
        for pattern in (NAMED_CONSTANT, MEMBER_START):
            for match in pattern.finditer(self.code):
                value = match.start() + re.search(r"=|\{", match.group()).start()
                if not any(start <= value < end for start, end in bodies):
                    self.constants((value, match.end()))


def other_numbers(number):
    """What a constant becomes: its neighbours; of a bool the other; 0 only grows."""
    if number in ("true", "false"):
        return ["false" if number == "true" else "true"]
    digits = re.match(r"0x[0-9a-fA-F']+|[\d']+", number).group()
    suffix = number[len(digits) :]
    value = int(digits.replace("'", ""), 0 if digits.startswith("0x") or digits == "0" else 10)
    return [f"{other}{suffix}" for other in (value + 1, value - 1) if other >= 0]


def find_faults(path, text):
    """Every fault of the source `text`; `path` is what they are told under."""
    return Finder(path, text).find()


def in_template(text, fault):
    """Whether the fault stands where code comes into being only by its use."""
    code = masked(text)
    line_start = code.rfind("\n\n", 0, fault.start) + 1
    return (any(start <= fault.start < end for start, end in template_regions(code))
            or bool(re.search(r"\bauto\b[ &*.]*\w+[,)]", code[line_start : fault.start])))
