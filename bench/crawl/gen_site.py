#!/usr/bin/env python3
"""Writes a deterministic static web site for crawl benchmarks.

The site has PAGES HTML pages of realistic markup (head, nav, breadcrumbs, paragraphs, footer),
each with exactly LINKS <a href> links: six navigation links, a previous/next pair that chains
every page to the start page (so the whole site is reachable whatever the random links do), and
body links spread through the paragraphs. A share BROKEN of all links (all of them body links)
points to pages that do not exist, each at its own URL; those URLs go to a manifest so a crawl's
findings can be checked. The same parameters and seed always give the same bytes.

Output folder (OUT, default build/bench-site/p<PAGES>-l<LINKS>-b<BROKEN>-s<SEED>):
  www/          the document root (index.html, s00/p00001.html, ..., static/)
  broken.txt    one planted broken path per line: "<path>\t<path of the page it is on>"
  urls.txt      every path a full crawl requests (pages, static files, broken), crawl order
  site.json     the parameters and the totals

An existing folder whose site.json has the same parameters is left alone (writing the default
site takes most of a minute), unless --force is given.
"""

import argparse
import json
import os
import random
import shutil
import sys

PAGES_PER_SECTION = 500
NAV_LINKS = 6  # home and five hub pages
CHAIN_LINKS = 2  # previous and next
GENERATOR_VERSION = 2  # bump when the output changes, so cached sites are rewritten

WORDS = (
    "system network archive module crawl anchor server request index report "
    "travel garden river harbour market village winter summer county bridge "
    "history science library museum theatre festival railway station school "
    "council parish chapel meadow orchard cottage mill quarry canal lighthouse "
    "review guide notes article update policy service contact support account "
    "quickly carefully gently often rarely always never sometimes usually "
    "the a an of to in on for with by from at as and or but "
    "is was were has had will would can could should may might "
    "local public early modern small large northern southern eastern western "
    "green quiet busy ancient narrow famous popular seasonal regional annual"
).split()

STATIC_FILES = {
    "static/site.css": b"body{font:16px/1.5 sans-serif;margin:0}nav a{margin-right:1em}\n"
    b"main{max-width:48em;margin:auto}footer{color:#666}\n",
    "static/site.js": b"document.documentElement.className='js';\n",
    # 1x1 transparent PNG
    "static/logo.png": bytes.fromhex(
        "89504e470d0a1a0a0000000d4948445200000001000000010806000000"
        "1f15c4890000000d4944415478da63fcffff3f0300050001ff5d0b1d"
        "0a0000000049454e44ae426082"
    ),
}


def page_path(i):
    """Document-root path of page i; page 0 is the start page."""
    if i == 0:
        return "index.html"
    return "s%02d/p%05d.html" % (i // PAGES_PER_SECTION, i)


def href_to(src, dst_path, rng):
    """An href from page path src to dst_path: root-relative or relative, as real sites mix."""
    src_dir = src.rpartition("/")[0]
    dst_dir, _, dst_name = dst_path.rpartition("/")
    if rng.random() < 0.5:
        return "/" + dst_path
    if src_dir == dst_dir:
        return dst_name
    if src_dir and dst_dir:
        return "../%s/%s" % (dst_dir, dst_name)
    if src_dir:  # from a section page to the root folder
        return "../" + dst_path
    return dst_path  # from the root folder into a section


class Generator:
    def __init__(self, pages, links, broken, seed, page_bytes):
        if pages < 2:
            raise ValueError("need at least 2 pages")
        if links < NAV_LINKS + CHAIN_LINKS:
            raise ValueError("need at least %d links per page" % (NAV_LINKS + CHAIN_LINKS))
        if not 0 <= broken <= 1:
            raise ValueError("broken share must be between 0 and 1")
        self.pages = pages
        self.links = links
        self.broken = broken
        self.page_bytes = page_bytes
        self.rng = random.Random(seed)
        # A pool of sentences keeps generation fast while the text still varies page to page.
        self.sentences = [self._sentence() for _ in range(3000)]
        self.hubs = [min(pages - 1, 1 + k * max(1, (pages - 1) // 5)) for k in range(5)]

    def _sentence(self):
        rng = self.rng
        words = [rng.choice(WORDS) for _ in range(rng.randint(8, 20))]
        words[0] = words[0].capitalize()
        return " ".join(words) + "."

    def _paragraph(self, n_sentences):
        return " ".join(self.rng.choice(self.sentences) for _ in range(n_sentences))

    def _anchor(self, href, text):
        return '<a href="%s">%s</a>' % (href, text)

    def page(self, i):
        """Returns (html bytes, list of broken paths planted on it)."""
        rng = self.rng
        src = page_path(i)
        title = "Page %d: %s" % (i, " ".join(rng.choice(WORDS) for _ in range(4)).title())

        nav = [self._anchor(href_to(src, "index.html", rng), "Home")]
        for k, h in enumerate(self.hubs):
            nav.append(self._anchor(href_to(src, page_path(h), rng), "Section %d" % (k + 1)))
        prev_i = i - 1 if i > 0 else self.pages - 1
        next_i = i + 1 if i + 1 < self.pages else 0
        chain = [
            self._anchor(href_to(src, page_path(prev_i), rng), "&larr; Previous"),
            self._anchor(href_to(src, page_path(next_i), rng), "Next &rarr;"),
        ]

        body_links = []
        broken_here = []
        n_body = self.links - NAV_LINKS - CHAIN_LINKS
        # Only body links are broken, so their chance is raised to make BROKEN the share of all.
        p_broken = min(1.0, self.broken * self.links / n_body)
        for k in range(n_body):
            if rng.random() < p_broken:
                path = "s%02d/missing-%05d-%02d.html" % (i // PAGES_PER_SECTION, i, k)
                broken_here.append(path)
            else:
                path = page_path(rng.randrange(self.pages))
            text = " ".join(rng.choice(WORDS) for _ in range(rng.randint(2, 5)))
            body_links.append(self._anchor(href_to(src, path, rng), text))

        # Enough paragraphs to reach the target size, the body links spread across them.
        n_par = max(len(body_links) // 2 + 1, self.page_bytes // 540)
        slots = sorted(rng.randrange(n_par) for _ in body_links)
        paragraphs = []
        li = 0
        for p in range(n_par):
            text = self._paragraph(rng.randint(3, 6))
            inline = []
            while li < len(body_links) and slots[li] == p:
                inline.append(body_links[li])
                li += 1
            if inline:
                cut = text.find(". ", len(text) // 2)
                cut = len(text) if cut < 0 else cut + 1
                text = text[:cut] + " See " + ", ".join(inline) + "." + text[cut:]
            if p and p % 6 == 0:
                paragraphs.append("<h2>%s</h2>" % self.rng.choice(self.sentences)[:-1])
            paragraphs.append("<p>%s</p>" % text)

        html = "\n".join(
            [
                "<!DOCTYPE html>",
                '<html lang="en">',
                "<head>",
                '<meta charset="utf-8">',
                '<meta name="viewport" content="width=device-width, initial-scale=1">',
                "<title>%s</title>" % title,
                '<meta name="description" content="%s">' % rng.choice(self.sentences),
                '<link rel="stylesheet" href="/static/site.css">',
                '<script src="/static/site.js" defer></script>',
                "</head>",
                "<body>",
                '<header><img src="/static/logo.png" alt="Logo" width="1" height="1">',
                "<nav>%s</nav></header>" % " ".join(nav),
                '<div class="crumbs">%s</div>' % " | ".join(chain),
                "<main>",
                "<h1>%s</h1>" % title,
                "\n".join(paragraphs),
                "</main>",
                "<footer><p>%s</p></footer>" % self._paragraph(2),
                "</body>",
                "</html>",
                "",
            ]
        )
        return html.encode("utf-8"), broken_here


def default_out(root, pages, links, broken, seed):
    return os.path.join(root, "build", "bench-site", "p%d-l%d-b%g-s%d" % (pages, links, broken, seed))


def generate(out, pages, links, broken, seed, page_bytes, force=False, quiet=False):
    """Writes the site into out (see the module text); returns the site.json contents."""
    params = {
        "version": GENERATOR_VERSION,
        "pages": pages,
        "links": links,
        "broken": broken,
        "seed": seed,
        "page_bytes": page_bytes,
    }
    meta_file = os.path.join(out, "site.json")
    if not force and os.path.exists(meta_file):
        with open(meta_file) as f:
            meta = json.load(f)
        if meta.get("params") == params:
            return meta
    if os.path.exists(out):
        shutil.rmtree(out)
    www = os.path.join(out, "www")
    for s in range((pages - 1) // PAGES_PER_SECTION + 1):
        os.makedirs(os.path.join(www, "s%02d" % s), exist_ok=True)
    os.makedirs(os.path.join(www, "static"), exist_ok=True)
    for name, data in STATIC_FILES.items():
        with open(os.path.join(www, name), "wb") as f:
            f.write(data)

    gen = Generator(pages, links, broken, seed, page_bytes)
    broken_rows = []
    total_bytes = 0
    for i in range(pages):
        data, planted = gen.page(i)
        total_bytes += len(data)
        with open(os.path.join(www, page_path(i)), "wb") as f:
            f.write(data)
        broken_rows.extend((p, page_path(i)) for p in planted)
        if not quiet and i and i % 2000 == 0:
            print("gen_site: %d/%d pages" % (i, pages), file=sys.stderr)

    with open(os.path.join(out, "broken.txt"), "w") as f:
        for path, on in broken_rows:
            f.write("/%s\t/%s\n" % (path, on))
    # Every distinct path a complete crawl requests; the server ceiling replays this list.
    urls = ["/"] + ["/" + page_path(i) for i in range(1, pages)]
    urls += ["/" + name for name in sorted(STATIC_FILES)]
    urls += ["/" + p for p, _ in broken_rows]
    with open(os.path.join(out, "urls.txt"), "w") as f:
        f.write("\n".join(urls) + "\n")

    meta = {
        "params": params,
        "html_pages": pages,
        "link_occurrences": pages * links,
        "broken_links": len(broken_rows),
        "distinct_urls": len(urls),
        "html_bytes": total_bytes,
    }
    with open(meta_file, "w") as f:
        json.dump(meta, f, indent=1)
    return meta


def main(argv=None):
    root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    ap = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    ap.add_argument("--pages", type=int, default=20000)
    ap.add_argument("--links", type=int, default=40, help="<a href> links per page")
    ap.add_argument("--broken", type=float, default=0.01, help="share of body links that are broken")
    ap.add_argument("--seed", type=int, default=1)
    ap.add_argument("--page-bytes", type=int, default=20000, help="approximate page size")
    ap.add_argument("--out", help="output folder (default under build/bench-site/)")
    ap.add_argument("--force", action="store_true", help="rewrite even when up to date")
    ap.add_argument("--print-out", action="store_true", help="print the output folder and exit 0")
    a = ap.parse_args(argv)
    out = a.out or default_out(root, a.pages, a.links, a.broken, a.seed)
    meta = generate(out, a.pages, a.links, a.broken, a.seed, a.page_bytes, a.force)
    if a.print_out:
        print(out)
    else:
        print(json.dumps(meta))
    return 0


if __name__ == "__main__":
    sys.exit(main())
