#!/usr/bin/env python3
"""Prints what Doxygen reads instead of a page of Markdown: pages.py PAGE

Pages link to pages, headings, headers and folders by their paths in the tree. The manual has its own
names for the first three. Links to anything else become plain text.
"""
import os
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
MAIN_PAGE = ROOT / "README.md"
FENCE = re.compile(r"^```")
HEADING = re.compile(r"^(#+) (.*?)\s*$")
LINK = re.compile(r"(?<!!)\[((?:`[^`]*`|[^\]`])*)\]\((?!https?:)([^)#\s]*)(#[^)\s]*)?\)")


def slug(heading):
    """The anchor of a heading, as sites that show Markdown make it."""
    return re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")


def page_name(page):
    return "page_" + re.sub(r"\W", "_", os.path.relpath(page.with_suffix(""), ROOT))


def target_name(target, heading):
    """The manual's name of the target, or None."""
    if target.suffix == ".md" and target.exists():
        if heading:
            return f"{page_name(target)}_{heading}"
        return "index" if target == MAIN_PAGE else page_name(target)
    if target.suffix == ".h" and target.is_relative_to(ROOT / "inc"):
        return str(target.relative_to(ROOT / "inc"))
    return None


def converted(page, line):
    def link(match):
        text, path, heading = match[1], match[2], (match[3] or "")[1:]
        target = (page.parent / path).resolve() if path else page
        name = target_name(target, heading)
        return f"[{text}](@ref {name})" if name else text

    heading = HEADING.match(line)
    if heading:
        level, text = heading.groups()
        name = page_name(page) if level == "#" else f"{page_name(page)}_{slug(text)}"
        return f"{level} {text} {{#{name}}}"
    return LINK.sub(link, line)


def main():
    page = pathlib.Path(sys.argv[1]).resolve()
    in_code = False
    # A link may run over the end of a line.
    text = re.sub(r"\[([^\]`\n]*)\n *([^\]`\n]*)\]\(", r"[\1 \2](", page.read_text(encoding="utf-8"))
    for line in text.splitlines():
        if FENCE.match(line):
            in_code = not in_code
        sys.stdout.write((line if in_code else converted(page, line)) + "\n")


if __name__ == "__main__":
    main()
