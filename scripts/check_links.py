#!/usr/bin/env python3
"""Checks that the targets of links between pages exist: check_links.py FILE_OR_FOLDER...

Reads HTML and Markdown pages. Names each link whose file does not exist, or whose anchor does not exist in
the file, and each title that several HTML pages have.
"""
import collections
import html.parser
import pathlib
import re
import sys
import urllib.parse

FENCED = re.compile(r"^```.*?^```$", re.M | re.S)
# A link, or the line below that says where a reference leads.
MARKDOWN_LINK = re.compile(r"(?:\]\(|^ {0,3}\[[^\]]+\]: *)([^)\s]+)", re.M)
MARKDOWN_HEADING = re.compile(r"^#+ (.*?)\s*$", re.M)


class HtmlPage(html.parser.HTMLParser):
    def __init__(self, text):
        super().__init__(convert_charrefs=True)
        self.links, self.places, self.title = [], set(), ""
        self.in_title = False
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        self.in_title = tag == "title"
        for name, value in attributes:
            if name in ("href", "src") and value:
                self.links.append(value)
            elif name in ("id", "name") and value:
                self.places.add(value)

    def handle_endtag(self, tag):
        self.in_title = False

    def handle_data(self, data):
        self.title += data if self.in_title else ""


class MarkdownPage:
    title = ""

    def __init__(self, text):
        text = FENCED.sub("", text)
        self.links = MARKDOWN_LINK.findall(text)
        self.places = {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")
                       for heading in MARKDOWN_HEADING.findall(text)}


def pages_in(places):
    kinds = {".html": HtmlPage, ".md": MarkdownPage}
    paths = (path for place in places for path in [place, *sorted(place.rglob("*"))])
    return {path.resolve(): kinds[path.suffix](path.read_text(encoding="utf-8"))
            for path in paths if path.suffix in kinds}


def dead_links(pages):
    for path, page in pages.items():
        for link in page.links:
            parts = urllib.parse.urlsplit(link)
            if parts.scheme or parts.netloc:
                continue
            target = (path.parent / urllib.parse.unquote(parts.path)).resolve() if parts.path else path
            if not target.exists():
                yield f"{path}: {link} is not there"
            elif parts.fragment and target in pages and \
                    urllib.parse.unquote(parts.fragment) not in pages[target].places:
                yield f"{path}: {link} names no place there"


def double_titles(pages):
    # Doxygen splits its lists of members into several pages with the same title.
    titles = collections.Counter(page.title for page in pages.values()
                                 if page.title and "Member" not in page.title)
    return (f'{count} pages have the title "{title}"' for title, count in titles.items() if count > 1)


def main():
    pages = pages_in(map(pathlib.Path, sys.argv[1:]))
    if not pages:
        sys.exit("no pages there")
    offences = [*dead_links(pages), *double_titles(pages)]
    print("\n".join(offences) if offences else f"{len(pages)} pages, no dead link")
    return 1 if offences else 0


if __name__ == "__main__":
    sys.exit(main())
