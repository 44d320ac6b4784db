"""Plots of monitored values with matplotlib (an optional dependency: only
this module needs it)."""

from __future__ import annotations

import os
from typing import Optional

from .drive import Recording

# Colours that stay apart for readers with the common colour-vision
# deficiencies (the Okabe-Ito set).
_COLOURS = ("#0072B2", "#D55E00", "#009E73", "#CC79A7", "#E69F00", "#56B4E9", "#000000")


def plot_recording(recording: Recording, path: os.PathLike, title: Optional[str] = None, dpi: int = 100) -> None:
    """Draws each monitored variable in its own panel, one above the other on
    a shared time axis, with its unit on its axis, and saves a PNG."""
    import matplotlib

    matplotlib.use("Agg")  # files only: no display needed
    from matplotlib import pyplot

    names = list(recording.values)
    figure, axes = pyplot.subplots(
        len(names), 1, sharex=True, squeeze=False, figsize=(9, 1.2 + 2.2 * len(names)), dpi=dpi
    )
    for row, name in enumerate(names):
        axis = axes[row][0]
        axis.plot(recording.times, recording.values[name], color=_COLOURS[row % len(_COLOURS)], linewidth=1.6,
                  marker="o" if len(recording.times) <= 40 else None, markersize=3)
        unit = recording.units.get(name, "")
        axis.set_ylabel(f"{name}\n[{unit}]" if unit else name)
        axis.grid(True, color="#dddddd", linewidth=0.8)
        axis.spines["top"].set_visible(False)
        axis.spines["right"].set_visible(False)
        axis.margins(x=0.01, y=0.15)
    axes[-1][0].set_xlabel("time [s]")
    figure.suptitle(title or ", ".join(names))
    figure.tight_layout()
    figure.savefig(os.fspath(path), format="png")
    pyplot.close(figure)
