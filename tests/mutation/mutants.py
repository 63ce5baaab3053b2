"""The small faults that can be put into a C++ source file, a line at a time."""

import re
from dataclasses import dataclass


@dataclass(frozen=True)
class Mutant:
    """Lines of a file, counted from 0, and what stands there instead."""

    file: str
    first: int
    kind: str
    old: tuple
    new: tuple

    def diff(self):
        return "".join(f"    - {line.strip()}\n" for line in self.old) + "".join(
            f"    + {line.strip()}\n" for line in self.new
        )

    def lines(self):
        """The numbers of its lines as tools count them."""
        return range(self.first + 1, self.first + 1 + len(self.old))


def in_file(file, text):
    """All mutants of a file, in the order of its lines."""
    lines = text.split("\n")
    code = code_lines(lines)
    mutants = []
    for index in sorted(code):
        for kind, change in SINGLE_LINE.items():
            for new in change(lines[index]):
                mutants.append(Mutant(file, index, kind, (lines[index],), (new,)))
        if index + 1 in code and can_be_swapped(lines, index):
            pair = (lines[index], lines[index + 1])
            mutants.append(Mutant(file, index, "order", pair, pair[::-1]))
    return mutants


def applied(mutant, text):
    lines = text.split("\n")
    lines[mutant.first : mutant.first + len(mutant.old)] = mutant.new
    return "\n".join(lines)


# What is code


def code_lines(lines):
    """The lines that hold code: no comments, nothing for the preprocessor, nothing that cannot be reached."""
    found = set()
    in_comment = excluded = False
    for index, line in enumerate(lines):
        if re.search(r"EXCL_(BR_)?START", line):
            excluded = True
        if re.search(r"EXCL_(BR_)?STOP", line):
            excluded = False
        begins_outside = not in_comment
        if "/*" in line:
            in_comment = True
        if "*/" in line:
            in_comment = False
        if begins_outside and not excluded and holds_code(line):
            found.add(index)
    return found


def holds_code(line):
    return not re.match(r"\s*($|/\*|#|using |static_assert|template|struct |enum |\[\[|extern )", line) and (
        "EXCL_LINE" not in line and not line.endswith("\\")
    )


def spans_of_texts(line):
    return [match.span() for match in re.finditer(r'"(?:[^"\\]|\\.)*"|/\*.*?\*/', line)]


def replaced(line, pattern, replacements):
    """The line with one match of the pattern replaced, for each match outside texts and each replacement."""
    texts = spans_of_texts(line)
    for match in re.finditer(pattern, line):
        if any(begin <= match.start() < end for begin, end in texts):
            continue
        for replacement in replacements(match):
            yield line[: match.start()] + replacement + line[match.end() :]


# Kinds of faults


def change_constant(line):
    def neighbours(match):
        digits, suffix = match.groups()
        value = int(digits, 0)
        for other in (value + 1, value - 1):
            if other >= 0:
                yield (hex(other) if digits.startswith("0x") else str(other)) + suffix

    return replaced(line, r"(?<![\w.'])(0x[0-9A-Fa-f]+|0|[1-9]\d*)([uUlL]*)(?![\w.'])", neighbours)


COMPARISONS = {"==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<"], ">": [">=", "<="], ">=": [">"]}


def change_comparison(line):
    return replaced(line, r"(?<= )([=!<>]=|[<>])(?= )", lambda match: COMPARISONS[match.group()])


def change_logic(line):
    return replaced(line, r"&&|\|\|", lambda match: ["||" if match.group() == "&&" else "&&"])


def change_arithmetic(line):
    return replaced(line, r"(?<= )[-+](?= )", lambda match: ["-" if match.group() == "+" else "+"])


def change_truth(line):
    return replaced(line, r"\b(true|false)\b", lambda match: ["false" if match.group() == "true" else "true"])


def change_status(line):
    def other(match):
        return ["ORKA_STATUS_VERSION" if match.group() != "ORKA_STATUS_VERSION" else "ORKA_STATUS_ERROR"]

    return replaced(line, r"\bORKA_STATUS_[A-Z_]+\b", other)


def change_text(line):
    """A letter in the middle of a text, which belongs to no conversion and no escape."""
    for match in re.finditer(r'"((?:[^"\\]|\\.)*)"', line):
        begin, end = match.span(1)
        places = [
            at for at in range(begin, end) if line[at].isalpha() and not re.search(r"(%[-0-9.l]*|\\)$", line[begin:at])
        ]
        if places:
            at = places[len(places) // 2]
            letter = chr(ord(line[at]) + (-1 if line[at] in "zZ" else 1))
            yield line[:at] + letter + line[at + 1 :]


def negate_condition(line):
    match = re.match(r"(\s*(?:\} else )?if \()(.*)\)((?: \[\[\w+\]\])?(?: \{)?)$", line)
    if match and is_balanced(match.group(2)):
        yield f"{match.group(1)}!({match.group(2)})){match.group(3)}"


def drop_statement(line):
    if is_statement(line):
        yield re.match(r"\s*", line).group() + ";"


def is_balanced(text):
    depth = 0
    for character in text:
        depth += (character == "(") - (character == ")")
        if depth < 0:
            return False
    return depth == 0


def is_statement(line):
    """A whole statement on a line of its own, which declares nothing and leaves nothing without a value."""
    text = line.strip()
    if not line.startswith(" ") or not text.endswith(";") or not is_balanced(text) or "{" in text:
        return False
    if text in ("break;", "continue;", "return;"):
        return True
    declares = re.match(r"(?:[\w:]+(?:<[^;]*>)?[ *&]+)+\w+(?:\[.*\])?(?: = .*)?;", text)
    return not declares and re.match(r"(?!return\b|case\b|else\b|default\b|[.}\"])[*\w].*[)=+\-]", text) is not None


def can_be_swapped(lines, index):
    """Two statements that follow a whole line, and are not the same."""
    first, second = lines[index], lines[index + 1]
    indentation = [len(line) - len(line.lstrip()) for line in (lines[index - 1], first, second)]
    before = lines[index - 1].strip()
    return (
        is_statement(first)
        and is_statement(second)
        and first != second
        and indentation[1] == indentation[2]
        and (before == "" or before[-1] in ";{}" or before.endswith("*/"))
    )


SINGLE_LINE = {
    "constant": change_constant,
    "comparison": change_comparison,
    "logic": change_logic,
    "arithmetic": change_arithmetic,
    "truth": change_truth,
    "status": change_status,
    "text": change_text,
    "condition": negate_condition,
    "statement": drop_statement,
}
