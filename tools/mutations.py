# SPDX-License-Identifier: Apache-2.0
"""What tools/mutate can change of a C++ file: an operator, a constant, a branch, a call, a returned value."""

import difflib
import hashlib
import re

TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)
      | (?P<string>(?:u8|[uUL])?R"(?P<fence>[^()\\\s]{0,16})\(.*?\)(?P=fence)"|(?:u8|[uUL])?"(?:\\.|[^"\\\n])*")
      | (?P<char>(?:u8|[uUL])?'(?:\\.|[^'\\\n])+')
      | (?P<number>(?:0[xX][0-9a-fA-F']+|(?:\d[\d']*\.?\d*|\.\d+)(?:[eE][+-]?\d+)?)[uUlLfF]*)
      | (?P<name>[A-Za-z_]\w*)
      | (?P<operator><<=|>>=|\.\.\.|->\*|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|::|[-+*/%&|^~!<>=?:;,.(){}\[\]])
    """,
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)
BINARY = {
    "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["*"], "&": ["|"], "|": ["&"], "^": ["&"],
    "<": ["<=", ">="], ">": [">=", "<="], "<=": ["<", ">"], ">=": [">", "<"], "==": ["!="], "!=": ["=="],
    "&&": ["||"], "||": ["&&"], "+=": ["-="], "-=": ["+="], "*=": ["/="], "/=": ["*="], "|=": ["&="], "&=": ["|="],
}
LOGGED = {"qDebug", "qInfo", "qWarning", "qCritical", "qCDebug", "qCInfo", "qCWarning", "qCCritical"}
UNTOUCHED = {"Q_ASSERT", "Q_ASSERT_X", "assert", "static_assert", "Q_UNUSED", "Q_DECLARE_METATYPE", "Q_UNREACHABLE",
             "alignas", "__attribute__"}
NO_STATEMENT = {"return", "if", "for", "while", "do", "switch", "case", "default", "break", "continue", "goto", "else",
                "using", "throw", "delete", "public", "private", "protected", "try", "catch", "template", "friend",
                "typedef", "static", "const", "constexpr", "auto", "namespace", "enum", "class", "struct", "void"}
TEXT_NAMES = {"QStringLiteral", "QLatin1String", "QLatin1Char", "QByteArrayLiteral", "QString", "QByteArray", "tr"}


class Token:
    __slots__ = ("kind", "text", "begin", "end")

    def __init__(self, kind, text, begin):
        self.kind, self.text, self.begin, self.end = kind, text, begin, begin + len(text)


class Change:
    """One small change of one file: text[begin:end] becomes `new`."""

    def __init__(self, path, text, begin, end, new, what):
        self.path, self.text, self.begin, self.end, self.new, self.what = path, text, begin, end, new, what
        self.line = text.count("\n", 0, begin) + 1
        seed = f"{path}\0{hashlib.sha1(text.encode()).hexdigest()}\0{begin}\0{end}\0{new}"
        self.key = hashlib.sha1(seed.encode()).hexdigest()[:12]

    def changed(self):
        return self.text[: self.begin] + self.new + self.text[self.end :]

    def title(self):
        return f"{self.path}:{self.line}: {self.what}"

    def diff(self):
        lines = difflib.unified_diff(self.text.splitlines(), self.changed().splitlines(), self.path, self.path, "", "",
                                     2, "")
        return "\n".join(lines)


class Source:
    """The places of one file at which something can be changed, each with its possible changes."""

    def __init__(self, path, text):
        self.path, self.text = path, text
        self.tokens = [
            Token(match.lastgroup if match.lastgroup != "fence" else "string", match.group(), match.start())
            for match in TOKEN.finditer(text)
            if match.lastgroup not in ("comment", "directive")
        ]
        self.match = self._brackets()
        self.functions = self._inside_functions()
        self.shut = self._shut()
        self.places = []
        for index in range(len(self.tokens)):
            if index not in self.shut:
                self._look_at(index)

    def _text(self, index):
        return self.tokens[index].text if 0 <= index < len(self.tokens) else ""

    def _kind(self, index):
        return self.tokens[index].kind if 0 <= index < len(self.tokens) else ""

    def _brackets(self):
        match, open_ones = {}, []
        for index, token in enumerate(self.tokens):
            if token.kind == "operator" and token.text in "([{":
                open_ones.append(index)
            elif token.kind == "operator" and token.text in ")]}" and open_ones:
                begin = open_ones.pop()
                match[begin], match[index] = index, begin
        return match

    def _inside_functions(self):
        """For each token, whether the innermost braces around it are a body."""
        inside, stack = [], [False]
        for index, token in enumerate(self.tokens):
            if token.kind == "operator" and token.text == "{":
                head, back = set(), index - 1
                while back >= 0 and self._text(back) not in (";", "{", "}"):
                    if self._text(back) == ")" and back in self.match:
                        back = self.match[back]
                    head.add(self._text(back))
                    back -= 1
                is_type = head & {"class", "struct", "enum", "namespace", "union"}
                stack.append(not is_type)
            inside.append(stack[-1])
            if token.kind == "operator" and token.text == "}" and len(stack) > 1:
                stack.pop()
        return inside

    def _shut(self):
        """Tokens that stay as they are: what is only logged, assertions, template heads."""
        shut = set()
        for index, token in enumerate(self.tokens):
            if token.kind != "name":
                continue
            end = index
            if token.text in LOGGED and self._text(index + 1) == "(":
                end = self._end_of_statement(index)
            elif token.text in UNTOUCHED and self._text(index + 1) == "(":
                end = self.match.get(index + 1, index)
            elif token.text == "operator":
                end = index + 1
            elif token.text == "template":
                while end < len(self.tokens) and self._text(end) not in (">", ";", "{"):
                    end += 1
            shut.update(range(index, end + 1) if end > index else ())
        return shut

    def _end_of_statement(self, index):
        while index < len(self.tokens) and self._text(index) != ";":
            if self._text(index) in ("(", "{", "["):
                index = self.match.get(index, index)
            elif self._text(index) == "}":
                return index
            index += 1
        return index

    def _add(self, begin, end, what, *news):
        old = self.text[begin:end]
        changes = [Change(self.path, self.text, begin, end, new, what) for new in news if new != old]
        if changes:
            self.places.append(changes)

    def _is_spaced(self, token):
        return self.text[token.begin - 1 : token.begin].isspace() and self.text[token.end : token.end + 1].isspace()

    def _is_text(self, index, step):
        """The operand beside an operator is certainly a text, which can only be added to."""
        beside = index + step
        if step < 0 and self._text(beside) == ")" and beside in self.match:
            beside = self.match[beside] - 1
        return self._kind(beside) == "string" or self._text(beside) in TEXT_NAMES

    def _look_at(self, index):
        token = self.tokens[index]
        if token.kind == "number":
            self._number(token, index)
        elif token.kind == "name":
            if token.text in ("true", "false"):
                self._add(token.begin, token.end, "constant", "false" if token.text == "true" else "true")
            elif token.text in ("if", "while") and self._text(index + 1) == "(":
                self._branch(token, index)
            elif token.text == "return":
                self._returned(token, index)
            if self.functions[index] and token.text not in NO_STATEMENT:
                self._statement(index)
        elif token.kind == "operator":
            if token.text == "!":
                self._add(token.begin, token.end, "operator", "")
            elif token.text in ("++", "--"):
                self._add(token.begin, token.end, "operator", "--" if token.text == "++" else "++")
            elif token.text in BINARY and self._is_spaced(token) and self._text(index - 1) != "operator":
                if token.text in "+=" and (self._is_text(index, -1) or self._is_text(index, 1)):
                    return
                self._add(token.begin, token.end, "operator", *BINARY[token.text])
            elif token.text in ("<<", ">>") and self._kind(index + 1) == "number" and self._is_spaced(token):
                self._add(token.begin, token.end, "operator", "<<" if token.text == ">>" else ">>")

    def _number(self, token, index):
        if self._text(index - 1) == "[" and self._text(index + 1) == "]" and not self.functions[index]:
            return  # the size of an array
        text = token.text
        if re.search(r"[.]|^[^xX]*[eE]|^\d+[fF]$", text) and not text.lower().startswith("0x"):
            plain = text.rstrip("fFlL")
            suffix = text[len(plain) :]
            if float(plain) == 0:
                self._add(token.begin, token.end, "constant", "1.0" + suffix)
            else:
                self._add(token.begin, token.end, "constant", f"({text} * 2)", f"({text} + 1)", "0.0" + suffix)
        else:
            plain = text.rstrip("uUlL")
            value = int(plain.replace("'", ""), 16 if plain[:2].lower() == "0x" else 10)
            suffix = text[len(plain) :]
            news = [str(value + 1) + suffix]
            if value > 0:
                news.append(str(value - 1) + suffix)
            self._add(token.begin, token.end, "constant", *news)

    def _branch(self, token, index):
        begin, end = index + 1, self.match.get(index + 1)
        if end is None:
            return
        depth_zero, first = [], begin + 1
        position = begin + 1
        while position < end:
            if self._text(position) in ("(", "{", "["):
                position = self.match.get(position, position)
            elif self._text(position) == ";":
                first = position + 1
                depth_zero = []
            else:
                depth_zero.append(self._text(position))
            position += 1
        if "=" in depth_zero or first >= end:
            return  # declares what it asks for
        left, right = self.tokens[first].begin, self.tokens[end].begin
        condition = self.text[left:right]
        news = [f"!({condition})", f"false && ({condition})"]
        if token.text == "if":
            news.append(f"true || ({condition})")
        self._add(left, right, "branch", *news)

    def _returned(self, token, index):
        end = self._end_of_statement(index)
        if self._text(end) != ";":
            return
        left, right = token.begin, self.tokens[end].begin
        is_early = self._text(index - 1) == ")" and self._text(self.match.get(index - 1, 0) - 1) == "if"
        if end == index + 1:
            if is_early:
                self._add(left, right, "return", "")
            return
        news = [""] if is_early else []
        first = self.tokens[index + 1].begin
        value = self.text[first:right]
        if not (end == index + 3 and value == "{}"):
            news.append("return {}")
        flat, position = [], index + 1
        while position < end:
            flat.append(self._text(position))
            position = self.match.get(position, position) + 1 if self._text(position) in "([{" else position + 1
        if set(flat) & {"&&", "||", "==", "!=", "<", ">", "<=", ">=", "!"} and "?" not in flat:
            news.append(f"return !({value})")
        self._add(left, right, "return", *news)

    def _statement(self, index):
        """A call or an assignment that is a statement of its own."""
        before = self._text(index - 1)
        if before == ")":
            head = self._text(self.match.get(index - 1, 0) - 1)
            if head not in ("if", "for", "while"):
                return
        elif before not in (";", "{", "}", "else", ":") or (before == ":" and "?" in self._line_before(index)):
            return
        if before == "{" and self._text(index - 2) not in (")", "{", ";", "}", "else", "const", "override", "]", ":",
                                                           "mutable", "noexcept", "do"):
            return  # a list of values
        end = self._end_of_statement(index)
        if self._text(end) != ";" or any(i in self.shut for i in range(index, end)):
            return
        first = index + 1 if self._text(index) == "emit" else index
        flat, position = [], first
        while position < end:
            flat.append(position)
            opens = self._text(position) in ("(", "[", "{")
            position = self.match.get(position, position) + 1 if opens else position + 1
        assignment = next((i for i in flat if self._text(i) == "="), None)
        head = [i for i in flat if assignment is None or i < assignment]
        for left, right in zip(head, head[1:]):
            declares = self._kind(left) == "name" or self._text(left) in (">", "*", "&")
            if declares and self._kind(right) == "name":
                return
        is_call = self._text(end - 1) == ")"
        if assignment is None and not is_call:
            return
        self._add(self.tokens[index].begin, self.tokens[end].begin, "left out", "")

    def _line_before(self, index):
        begin = self.tokens[index].begin
        return self.text[self.text.rfind("\n", 0, begin) + 1 : begin]
