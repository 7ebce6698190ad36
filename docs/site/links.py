"""Links of finished pages: each leads to a file that is there, and to a place in it that has the name."""

import html.parser
import urllib.parse


class Page(html.parser.HTMLParser):
    """Links, and the names of places."""

    def __init__(self, path):
        super().__init__()
        self.links, self.places = set(), set()
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attrs):
        for name, value in attrs:
            if name in ("href", "src") and value:
                self.links.add(value)
            elif name in ("id", "name") and value:
                self.places.add(value)


def faults(folder):
    """One line for each link that leads nowhere. Addresses on the network are left to Sphinx (linkcheck)."""
    pages = {path.resolve(): Page(path) for path in sorted(folder.rglob("*.html"))}
    found = []
    for path, page in pages.items():
        for link in sorted(page.links):
            to = urllib.parse.urlsplit(link)
            if to.scheme or to.netloc:
                continue
            target = (path.parent / urllib.parse.unquote(to.path)).resolve() if to.path else path
            place = urllib.parse.unquote(to.fragment)
            if not target.is_file():
                found.append(f"{path.relative_to(folder.resolve())}: {link}: no such file")
            elif place and target in pages and place not in pages[target].places:
                found.append(f"{path.relative_to(folder.resolve())}: {link}: no such place")
    return found
