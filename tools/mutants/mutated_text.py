"""A source with all its mutants, each behind a switch; see mutant.h."""
from mutants import Place


class MutatedText:
    """With those mutants that have a number of @p numbers."""

    def __init__(self, source, numbers):
        self.source = source.bytes
        self.pieces = []
        self.size = 0
        # Of each place: where it begins and ends in this text, and the numbers of its mutants.
        self.regions = []
        kept = [(place, alternatives) for place in source.sorted_places()
                if (alternatives := [a for a in place.alternatives if a[1].number in numbers])]
        for start, mutants in source.constants.items():
            if any(m.number in numbers for m in mutants):
                kept.append((Place(start, start + len("constexpr"), "constant", ""), []))
        kept.sort(key=lambda k: (k[0].start, -k[0].end))
        self.write(kept, 0, len(self.source))
        self.bytes = b"".join(self.pieces)

    def put(self, text):
        self.pieces.append(text)
        self.size += len(text)

    def write(self, places, start, end):
        """The source from start to end, whose outermost places come first."""
        while places:
            place, alternatives = places[0]
            count = next((i for i, (p, _) in enumerate(places[1:], 1) if p.start >= place.end),
                         len(places))
            self.put(self.source[start:place.start])
            self.write_place(place, alternatives, places[1:count])
            places, start = places[count:], place.end
        self.put(self.source[start:end])

    def write_place(self, place, alternatives, inner):
        if place.form == "constant":
            # A pointer to constant characters has its "const" already.
            has_const = self.source[place.end:].lstrip().startswith(b"const ")
            self.put(b"         " if has_const else b"const    ")
            return
        began = self.size
        switches = [(f"::mutants::{place.switch}({m.number})", " ".join(code.split()))
                    for code, m in alternatives]
        switch, code = switches[0]
        opening, closing = {
            "value": ("(" + "".join(f"{s} ? ({c}) : " for s, c in switches) + "(", "))"),
            # So both are a bool, whatever the condition's type is.
            "condition": (f"({switch} ? {code} : !!(", "))"),
            "void": (f"({switch} ? void() : void(", "))"),
            "result": (f"if ({switch}) {code} else ", ""),
            "statement": (f"if ({switch}) {{}} else ", ""),
        }[place.form]
        self.put(opening.encode())
        self.write(inner, place.start, place.end)
        self.put(closing.encode())
        self.regions.append((began, self.size, {m.number for _, m in alternatives}))

    def culprits(self, line, column):
        """Numbers of the mutants at a position: of the innermost place there, else of all places of
        its line."""
        start = 0
        for _ in range(line - 1):
            start = self.bytes.index(b"\n", start) + 1
        offset = start + column - 1
        around = [r for r in self.regions if r[0] <= offset < r[1]]
        if around:
            return min(around, key=lambda r: r[1] - r[0])[2]
        end = self.bytes.find(b"\n", start)
        return {n for r in self.regions if r[0] < end and start < r[1] for n in r[2]}
