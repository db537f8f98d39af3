"""Which words does a recursive low-pass need? Filters a recording in words of many lengths, with pictures.

    python -m tolvane.study recording.wav
    python -m tolvane.study --help
"""

from __future__ import annotations

import sys

from ._study import main

if __name__ == "__main__":
    sys.exit(main())
