"""The small changes of the plug-in's source that scripts/mutants judges."""
import collections
import pathlib
import re

# A change replaces whole lines: {index: new text}. `text` says which line, `change` what is done to it.
Mutant = collections.namedtuple("Mutant", "file line text change edit")

SWAPS = [(" == ", " != "), (" < ", " <= "), (" > ", " >= "), (" && ", " || "), (" + ", " - "), (" & ", " | "), (" += ", " -= ")]
RULES = [(re.escape(a), b) for pair in SWAPS for a, b in (pair, pair[::-1])] + [
    (re.escape(" * "), " / "),
    (re.escape("++"), "--"),
    (r"\btrue\b", "false"),
    (r"\bfalse\b", "true"),
    (r"!(?![=])", ""),
    (r"(?<![\w.'])(?:0x[0-9A-Fa-f]+|\d+)(?![\w.'])", lambda match: str(int(match[0], 0) + 1))]
# Conditions, and what each is replaced by: every jump is taken and is not, but no loop is made endless.
CONDITIONS = [
    (re.compile(r"\bif (?:constexpr )?\((.+)\) \{$"), ("true", "false")),
    (re.compile(r"\bwhile \((.+)\) \{$"), ("false",)),
    (re.compile(r"\bfor \([^;]*; ([^;]+); "), ("false",)),
    (re.compile(r"(?:\breturn|[=:(,]) ?([^?;]+) \? "), ("true", "false"))]
CALL = re.compile(r"^\s+[\w:.>\[\]*-]+\(.*\);\s*$")
NO_CODE = re.compile(r"//[^\n]*|\"(?:\\.|[^\"\\\n])*\"|'(?:\\.|[^'\\\n])'|^[ \t]*#[^\n]*|static_assert\([^;]*;", re.M)


def masked(text):
    """The code with comments and literals blanked, every character at its place."""
    return NO_CODE.sub(lambda match: re.sub(r"[^\n]", " ", match[0]), text)


class SourceFile:
    """One file, and all its changes."""

    def __init__(self, path, name):
        text = path.read_text()
        self.name = name
        self.lines = text.split("\n")
        self.code = masked(text).split("\n")
        self.stripped = [line.strip() for line in self.lines]
        self.occurrences = collections.Counter(self.stripped)

    def mutants(self):
        for i in range(len(self.code)):
            yield from self.replacements(i)
            yield from self.forced_conditions(i)
            yield from self.moved_calls(i)

    def mutant(self, i, change, edit):
        """A line that stands in the file more than once is told by the line before it as well."""
        text = self.stripped[i]
        if self.occurrences[text] > 1 and i > 0:
            text = f"{self.stripped[i - 1]} {text}"
        return Mutant(self.name, i + 1, text, change, edit)

    def with_span(self, i, span, new):
        line = self.lines[i]
        return {i: line[:span[0]] + new + line[span[1]:]}

    def replacements(self, i):
        for pattern, replacement in RULES:
            for match in re.finditer(pattern, self.code[i]):
                new = replacement if isinstance(replacement, str) else replacement(match)
                change = f"{match[0].strip()} to {new.strip() or 'nothing'} at {match.start() + 1}"
                yield self.mutant(i, change, self.with_span(i, match.span(), new))

    def forced_conditions(self, i):
        for pattern, forced in CONDITIONS:
            for match in pattern.finditer(self.code[i]):
                for value in forced:
                    change = f"{value} at {match.start(1) + 1}"
                    yield self.mutant(i, change, self.with_span(i, match.span(1), value))

    def moved_calls(self, i):
        if not CALL.match(self.code[i]):
            return
        yield self.mutant(i, "left out", {i: ";"})
        following = i + 1
        if following < len(self.code) and CALL.match(self.code[following]) and self.code[i] != self.code[following]:
            edit = {i: self.lines[following], following: self.lines[i]}
            yield self.mutant(i, "swapped with the next", edit)


def all_mutants(root):
    """All changes of the files in root/src."""
    for path in sorted((pathlib.Path(root) / "src").rglob("*")):
        if path.suffix in (".cpp", ".h"):
            yield from SourceFile(path, str(path.relative_to(root))).mutants()
