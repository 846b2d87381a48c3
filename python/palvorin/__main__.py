"""python3 -m palvorin COMMAND ...: the package's commands (`palvorin report` of the tool hands over here).

    python3 -m palvorin report FILE... -o OUT.html
"""

import importlib.util
import sys

COMMANDS = {"report": "one self-contained HTML page of captures' cells, signal and events"}


def main(argv=None):
    argv = sys.argv[1:] if argv is None else argv
    if not argv or argv[0] not in COMMANDS:
        names = "\n".join(f"  {name:8} {what}" for name, what in COMMANDS.items())
        print(f"usage: python3 -m palvorin COMMAND ...\ncommands:\n{names}", file=sys.stderr)
        return 2
    if importlib.util.find_spec("matplotlib") is None:
        print(f"palvorin {argv[0]}: needs matplotlib for {sys.executable} (Debian: apt-get install "
              "python3-matplotlib)", file=sys.stderr)
        return 1
    from . import report

    try:
        return report.main(argv[1:])
    except KeyboardInterrupt:
        print(f"\npalvorin {argv[0]}: interrupted; nothing written", file=sys.stderr)
        return 130


if __name__ == "__main__":
    sys.exit(main())
