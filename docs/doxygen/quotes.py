#!/usr/bin/env python3
"""quotes.py SOURCE_FOLDER [--update]: what the pages in docs/ quote from the examples, in a block behind a
line <!-- \\snippet FILE NAME -->, has to be what stands there between two //! [NAME]. Tells what isn't,
or with --update puts it right."""

import pathlib
import re
import sys
import textwrap

QUOTE = re.compile(r"^<!-- \\snippet (\S+) (\S+) -->\n(?:```cpp\n.*?^```\n)?", re.DOTALL | re.MULTILINE)


def snippet(file, name):
    parts = re.split(rf"^ *//! \[{re.escape(name)}\]\n", file.read_text(), flags=re.MULTILINE)
    if len(parts) != 3:
        sys.exit(f"{file}: [{name}] should be there twice")
    inner = re.sub(r"^ *//! \[\w+\]\n", "", parts[1], flags=re.MULTILINE)
    return textwrap.dedent(inner)


def main():
    source = pathlib.Path(sys.argv[1])
    stale = False
    for page in sorted(source.glob("docs/*.md")):
        text = page.read_text()

        def quoted(match):
            code = snippet(source / "examples" / match[1], match[2])
            return match[0].split("\n", 1)[0] + f"\n```cpp\n{code}```\n"

        updated = QUOTE.sub(quoted, text)
        if updated == text:
            continue
        if "--update" in sys.argv:
            page.write_text(updated)
        else:
            stale = True
            print(f"{page}: a quote differs from the example; run {sys.argv[0]} with --update", file=sys.stderr)
    return stale


if __name__ == "__main__":
    sys.exit(main())
