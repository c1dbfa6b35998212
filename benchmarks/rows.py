"""One row of the results, and the table of all."""

import dataclasses
from collections.abc import Iterable


@dataclasses.dataclass
class Row:
    """A figure and its bar: how many times as fast, or a time or size that must not be passed."""

    what: str
    system: str  # what was measured, in words and units
    beside: str  # the same for what it is held against; empty for none
    figure: float
    bar: float
    unit: str = "x"
    at_most: bool = False

    @property
    def margin(self) -> float | None:
        """From 1 on the bar is met; at 2 the row is twice as good as it must be. None where it may
        only be met or missed."""
        if self.bar == 0:
            return None
        if self.at_most:
            return self.bar / max(self.figure, self.bar / 1000)
        return self.figure / self.bar

    @property
    def met(self) -> bool:
        return self.figure <= self.bar if self.at_most else self.figure >= self.bar

    def figure_text(self) -> str:
        return quantity(self.figure, self.unit)

    def bar_text(self) -> str:
        return f"{'at most' if self.at_most else 'at least'} {quantity(self.bar, self.unit)}"


def quantity(value: float, unit: str) -> str:
    """The value in three digits, with its unit."""
    digits = f"{value:.3g}" if abs(value) < 1000 else f"{value:,.0f}"
    return f"{digits} {unit}".strip()


def milliseconds(seconds: float) -> str:
    return quantity(seconds * 1000, "ms")


def table(rows: Iterable[Row]) -> str:
    """The rows as a Markdown table."""
    lines = [
        "| What | System | Beside | Figure | Bar | Met |",
        "|---|---|---|---|---|---|",
    ]
    for row in rows:
        cells = (row.what, row.system, row.beside, row.figure_text(), row.bar_text())
        lines.append(f"| {' | '.join(cells)} | {'yes' if row.met else '**no**'} |")
    return "\n".join(lines) + "\n"
