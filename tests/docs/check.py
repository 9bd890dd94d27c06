"""check.py ROOT: holds the documents of a checkout against it.

A block of C++ has to be part of a file of examples/, line for line and without a gap, so that what a reader copies
has been compiled. A relative link has to lead to a file, and its anchor to a heading.
"""

import re
import sys
import urllib.parse
from pathlib import Path

# [text](target), ![text](target "title"), <img src="target">, and [label]: target
LINKS = re.compile(
    r"""\]\(\s*<?([^)\s>]+)>?[^)]*\) | <[a-z]+\s[^>]*\b(?:href|src)="([^"]+)" | ^\s*\[[^]]+\]:\s*(\S+)""",
    re.VERBOSE,
)


def split(document):
    """Gives the prose as (line number, line), and the fenced blocks as (line number, language, lines)."""
    prose, blocks, fence = [], [], None
    for number, line in enumerate(document.read_text(encoding="utf-8").splitlines(), 1):
        mark = re.match(r"\s*(`{3,}|~{3,})\s*([^\s`]*)", line)
        if fence is None and mark:
            fence = mark[1]
            blocks.append((number, mark[2].lower(), []))
        elif fence is not None and mark and mark[1].startswith(fence) and not mark[2]:
            fence = None
        elif fence is not None:
            blocks[-1][2].append(line)
        else:
            prose.append((number, line))
    return prose, blocks, fence is not None


def anchors(document):
    """The anchors that the headings of a document get."""
    headings = [re.match(r"#{1,6}\s+(.*?)\s*#*$", line) for _, line in split(document)[0]]
    return {re.sub(r"[^\w\- ]", "", h[1].lower()).replace(" ", "-") for h in headings if h}


def contains(lines, block):
    return any(lines[at : at + len(block)] == block for at in range(len(lines) - len(block) + 1))


def check_blocks(blocks, examples):
    for number, language, lines in blocks:
        if not language:
            yield number, "a block without a language escapes the check; use text for what is not code"
        elif language in ("cpp", "c++") and not any(contains(example, lines) for example in examples):
            yield number, "this C++ is in no file of examples/"


def check_links(document, root, prose):
    for number, line in prose:
        # What is in backticks is shown and not followed.
        for groups in LINKS.findall(re.sub(r"`[^`]*`", "", line)):
            link = next(filter(None, groups))
            if re.match(r"[a-z][a-z0-9+.-]*:", link):
                continue
            path, _, anchor = link.partition("#")
            target = (document.parent / urllib.parse.unquote(path)).resolve() if path else document
            if not target.is_relative_to(root) or not target.exists():
                yield number, f"{link} leads nowhere"
            elif anchor and (target.suffix != ".md" or anchor not in anchors(target)):
                yield number, f"{link}: there is no such heading"


def main():
    root = Path(sys.argv[1]).resolve()
    documents = sorted([*root.glob("*.md"), *root.glob("docs/**/*.md")])
    sources = [*root.glob("examples/*.cpp"), *root.glob("examples/*.h")]
    examples = [source.read_text(encoding="utf-8").splitlines() for source in sources]
    faults = checked = 0
    for document in documents:
        prose, blocks, is_open = split(document)
        found = [*check_blocks(blocks, examples), *check_links(document, root, prose)]
        if is_open:
            found.append((blocks[-1][0], "this block is never closed"))
        for number, what in sorted(found):
            print(f"{document.relative_to(root)}:{number}: {what}")
        faults += len(found)
        checked += sum(language == "cpp" for _, language, _ in blocks)
    # A check that finds nothing to look at has lost its way.
    if checked == 0 or not examples:
        print("no document shows any C++, or there are no examples")
        faults += 1
    return faults != 0


if __name__ == "__main__":
    sys.exit(main())
