"""Types for annotations: what functions of the package take."""

from __future__ import annotations

from ._analysis import Difference, Explanation
from ._array import ArrayLike, FormatLike
from ._filters import Form, Style
from ._floats import FloatFormatLike
from ._log import Comparison, ErrorSums, Histogram, Place, Proposal
from ._rules import Constants

__all__ = [
    "ArrayLike",
    "Comparison",
    "Constants",
    "Difference",
    "ErrorSums",
    "Explanation",
    "FloatFormatLike",
    "Form",
    "FormatLike",
    "Histogram",
    "Place",
    "Proposal",
    "Style",
]
