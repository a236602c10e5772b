# SPDX-License-Identifier: LGPL-2.1-or-later
"""Draws how memory and descriptors have gone over time."""

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams["svg.hashsalt"] = "soak"  # the same names in each drawing
matplotlib.rcParams["svg.fonttype"] = "none"

from matplotlib import pyplot  # noqa: E402

PANELS = (("memory in MB", "memory", "daemon_memory", 1000),
          ("descriptors", "descriptors", "daemon_descriptors", 1))
COLOURS = {"killed": "#c0392b", "restarted": "#888888"}


def draw(samples, restarts, name):
    minutes = [sample.time / 60 for sample in samples]
    figure, panels = pyplot.subplots(len(PANELS), sharex=True, figsize=(8, 5))
    for panel, (title, application, daemon, unit) in zip(panels, PANELS):
        highest = max(max(getattr(sample, application), getattr(sample, daemon))
                      for sample in samples) / unit
        for field, label, style in ((application, "application", "-"), (daemon, "stand-in", "--")):
            panel.plot(minutes, [getattr(sample, field) / unit for sample in samples], style,
                       label=label, linewidth=1)
        for how, colour in COLOURS.items():
            for index, when in enumerate(when for when, what in restarts if what == how):
                panel.axvline(when / 60, color=colour, linewidth=0.5, linestyle=":",
                              label=None if index else f"stand-in {how}")
        panel.set_ylabel(title)
        panel.set_ylim(0, 1.1 * highest)
        panel.grid(axis="y", color="#dddddd", linewidth=0.5)
    panels[0].legend(loc="lower center", ncol=4, fontsize=8, bbox_to_anchor=(0.5, 1.0))
    panels[-1].set_xlabel("minutes")
    figure.savefig(name, metadata={"Date": None})
