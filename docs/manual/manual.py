#!/usr/bin/env python3
"""Makes the manual, Torvik.html and Torvik.pdf, from the documents that are its chapters.

Usage: python3 manual.py FOLDER        writes both into the folder

pandoc turns each chapter into HTML. Here they are put together: links between chapters are turned
into links within the page, figures and the style sheet are put in, and a list of contents is made. weasyprint
turns the page into a PDF. Both come with Debian and Ubuntu.

Each chapter is also read by itself, in the repository: so chapters link to each other as files, and
name what is no chapter by its place in the project.
"""

import html
import os
import re
import shutil
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
PROJECT = os.path.dirname(os.path.dirname(HERE))

# In the order of the manual, by their place in the project.
CHAPTERS = (
    "docs/manual/introduction.md",
    "docs/manual/firstrun.md",
    "docs/manual/volumes.md",
    "docs/manual/solutions.md",
    "docs/manual/keywords.md",
    "docs/success.md",
    "docs/method.md",
    "docs/formats.md",
    "docs/limits.md",
)

TOOLS = {"pandoc": "pandoc", "weasyprint": "weasyprint"}  # command to package


def missingtools():
    return [package for tool, package in TOOLS.items() if shutil.which(tool) is None]


def nameof(chapter):
    """The name of a chapter, with which the anchors of its headings begin."""
    return os.path.splitext(os.path.basename(chapter))[0]


def textof(fragment):
    """The text of a piece of HTML without its tags."""
    return re.sub(r"<[^>]*>", "", fragment)


def fragmentof(chapter):
    """A chapter as HTML. Its anchors, and its links to them, begin with its name."""
    command = ["pandoc", "--from=gfm", "--to=html5", "--no-highlight", "--columns=10000"]
    command += ["--id-prefix=" + nameof(chapter) + "-", os.path.join(PROJECT, chapter)]
    return subprocess.run(command, check=True, capture_output=True, encoding="utf-8").stdout


HEADING = re.compile(r'<h([1-6]) id="([^"]*)">(.*?)</h\1>', re.DOTALL)


def headingsof(fragment):
    """The headings of a chapter as (level, anchor, HTML)."""
    return [(int(level), anchor, text) for level, anchor, text in HEADING.findall(fragment)]


def adaptedlinks(chapter, fragment, headings):
    """A chapter with its links to other chapters turned into links within the page.

    A link to a file that is no chapter becomes its text and the place of the file. A link that only
    names its chapter by the name of the file gets the heading to which it leads.
    """
    folder = os.path.dirname(chapter)
    titles = {anchor: text for found in headings.values() for _, anchor, text in found}

    def adapted(match):
        target, text = html.unescape(match.group(1)), match.group(2)
        if re.match(r"[a-z]+:", target) or target.startswith("#"):
            return match.group(0)
        path, _, anchor = target.partition("#")
        place = os.path.normpath(os.path.join(folder, path))
        isname = textof(text) == os.path.basename(path)
        if place not in headings:
            return "<code>%s</code>" % place if isname else "%s (<code>%s</code>)" % (text, place)
        anchor = nameof(place) + "-" + anchor if anchor else headings[place][0][1]
        if anchor not in titles:
            sys.exit("%s: a link leads nowhere: %s" % (chapter, target))
        return '<a href="#%s">%s</a>' % (anchor, titles[anchor] if isname else text)

    return re.sub(r'<a\s+href="([^"]*)"[^>]*>(.*?)</a>', adapted, fragment, flags=re.DOTALL)


def withfigures(chapter, fragment):
    """A chapter with its figures in it, each with its text below."""
    folder = os.path.join(PROJECT, os.path.dirname(chapter))

    def figure(match):
        place = os.path.join(folder, html.unescape(match.group(1)))
        with open(place, encoding="utf-8") as file:
            drawing = file.read()
        drawing = drawing[drawing.index("<svg"):]
        return "<figure>%s<figcaption>%s</figcaption></figure>" % (drawing, match.group(2))

    return re.sub(r'<p><img\s+src="([^"]*\.svg)"\s+alt="([^"]*)"\s*/></p>', figure, fragment)


def withcolumns(fragment):
    """Tables with the class of their number of columns, which the style sheet goes by, in a box of
    their own, which a reader with a narrow screen can move."""
    def table(match):
        columns = len(re.findall(r"<th\b", match.group(0)))
        named = match.group(0).replace("<table", '<table class="columns%d"' % columns, 1)
        return '<div class="table">%s</div>' % named

    return re.sub(r"<table.*?</table>", table, fragment, flags=re.DOTALL)


def contentsof(headings):
    """The list of contents: chapters and their sections."""
    lines = ['<nav id="contents"><h2>Contents</h2><ol>']
    for chapter in CHAPTERS:
        (_, anchor, title), *rest = headings[chapter]
        lines.append('<li><a href="#%s">%s</a>' % (anchor, textof(title)))
        sections = [(anchor, text) for level, anchor, text in rest if level == 2]
        if sections:
            lines.append("<ul>")
            lines += ['<li><a href="#%s">%s</a></li>' % (a, textof(t)) for a, t in sections]
            lines.append("</ul>")
        lines.append("</li>")
    lines.append("</ol></nav>")
    return "\n".join(lines)


def version():
    with open(os.path.join(PROJECT, "CMakeLists.txt"), encoding="utf-8") as file:
        return re.search(r"project\(Torvik VERSION ([0-9.]+)", file.read()).group(1)


def page():
    """The manual as one page of HTML."""
    fragments = {chapter: fragmentof(chapter) for chapter in CHAPTERS}
    headings = {chapter: headingsof(fragment) for chapter, fragment in fragments.items()}
    with open(os.path.join(HERE, "manual.css"), encoding="utf-8") as file:
        style = file.read()
    parts = ['<!DOCTYPE html>\n<html lang="en">\n<head>\n<meta charset="utf-8">',
             '<meta name="viewport" content="width=device-width, initial-scale=1">',
             "<title>Torvik: the manual</title>", "<style>\n%s</style>\n</head>\n<body>" % style,
             '<header><p class="title">Torvik</p><p class="subtitle">Indexing single-crystal '
             'diffraction data</p><p class="version">Manual of version %s</p></header>' % version(),
             contentsof(headings), "<main>"]
    for chapter in CHAPTERS:
        fragment = adaptedlinks(chapter, fragments[chapter], headings)
        parts.append('<section class="chapter">')
        parts.append(withcolumns(withfigures(chapter, fragment)))
        parts.append("</section>")
    parts.append("</main>\n</body>\n</html>\n")
    return "\n".join(parts)


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    missing = missingtools()
    if missing:
        sys.exit("The manual cannot be made without %s. On Debian and Ubuntu:\n"
                 "    apt-get install %s" % (" and ".join(missing), " ".join(missing)))
    folder = sys.argv[1]
    os.makedirs(folder, exist_ok=True)
    name = os.path.join(folder, "Torvik.html")
    with open(name, "w", encoding="utf-8") as file:
        file.write(page())
    subprocess.run(["weasyprint", "--quiet", name, os.path.join(folder, "Torvik.pdf")], check=True)


if __name__ == "__main__":
    main()
