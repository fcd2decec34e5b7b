#!/usr/bin/env python3
"""Checks the benchmark site generator: run with python3 -m unittest bench/crawl/test_gen_site.py"""

import html.parser
import os
import sys
import tempfile
import unittest
import urllib.parse

sys.dont_write_bytecode = True  # keep the source folder clean
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import gen_site  # noqa: E402


class Hrefs(html.parser.HTMLParser):
    def __init__(self):
        super().__init__()
        self.hrefs = []

    def handle_starttag(self, tag, attrs):
        if tag == "a":
            self.hrefs.append(dict(attrs)["href"])


def read_tree(folder):
    out = {}
    for base, _, files in os.walk(folder):
        for name in files:
            path = os.path.join(base, name)
            with open(path, "rb") as f:
                out[os.path.relpath(path, folder)] = f.read()
    return out


class GenSiteTest(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.TemporaryDirectory()
        # Small sections, so that hrefs between sections and to the root folder all occur.
        self.saved_section = gen_site.PAGES_PER_SECTION
        gen_site.PAGES_PER_SECTION = 15

    def tearDown(self):
        gen_site.PAGES_PER_SECTION = self.saved_section
        self.tmp.cleanup()

    def make(self, name, pages=60, links=20, broken=0.05, seed=7, page_bytes=4000):
        out = os.path.join(self.tmp.name, name)
        meta = gen_site.generate(out, pages, links, broken, seed, page_bytes, quiet=True)
        return out, meta

    def test_same_seed_same_bytes_other_seed_other_site(self):
        a, _ = self.make("a")
        b, _ = self.make("b")
        c, _ = self.make("c", seed=8)
        self.assertEqual(read_tree(a), read_tree(b))
        self.assertNotEqual(read_tree(a)["www/index.html"], read_tree(c)["www/index.html"])

    def test_links_resolve_as_planted_and_every_page_is_reachable(self):
        pages, links = 60, 20
        out, meta = self.make("s", pages=pages, links=links, broken=0.05)
        www = os.path.join(out, "www")
        with open(os.path.join(out, "broken.txt")) as f:
            manifest = {tuple(line.rstrip("\n").split("\t")) for line in f}
        self.assertEqual(len(manifest), meta["broken_links"])
        self.assertGreater(len(manifest), 0)

        base = "http://host"
        seen_broken, graph = set(), {}
        for i in range(pages):
            page = "/" + gen_site.page_path(i)
            parser = Hrefs()
            with open(www + page, encoding="utf-8") as f:
                parser.feed(f.read())
            self.assertEqual(len(parser.hrefs), links, page)
            targets = []
            for href in parser.hrefs:
                path = urllib.parse.urlsplit(urllib.parse.urljoin(base + page, href)).path
                if os.path.isfile(www + path):
                    targets.append(path)
                else:
                    self.assertIn((path, page), manifest, "unplanted dead link %s on %s" % (href, page))
                    seen_broken.add((path, page))
            graph[page] = targets
        self.assertEqual(seen_broken, manifest)

        reached, todo = {"/index.html"}, ["/index.html"]
        while todo:
            for t in graph[todo.pop()]:
                if t not in reached:
                    reached.add(t)
                    todo.append(t)
        self.assertEqual(len(reached), pages)

        with open(os.path.join(out, "urls.txt")) as f:
            urls = f.read().split()
        self.assertEqual(len(urls), len(set(urls)))
        self.assertEqual(len(urls), meta["distinct_urls"])
        self.assertTrue({p for p, _ in manifest} <= set(urls))

    def test_broken_share_and_page_size_follow_the_parameters(self):
        for broken in (0.0, 0.02, 0.1):
            _, meta = self.make("b%g" % broken, pages=300, links=40, broken=broken, page_bytes=20000)
            share = meta["broken_links"] / meta["link_occurrences"]
            self.assertAlmostEqual(share, broken, delta=0.2 * broken + 0.001)
            per_page = meta["html_bytes"] / meta["html_pages"]
            self.assertTrue(16000 < per_page < 25000, per_page)

    def test_existing_site_is_kept_only_when_parameters_match(self):
        out, _ = self.make("k")
        index = os.path.join(out, "www", "index.html")
        os.utime(index, (1, 1))
        self.make("k")
        self.assertEqual(os.stat(index).st_mtime, 1)
        self.make("k", seed=9)
        self.assertNotEqual(os.stat(index).st_mtime, 1)

    def test_rejects_impossible_parameters(self):
        for pages, links, broken in ((1, 40, 0.01), (10, 5, 0.01), (10, 40, 1.5)):
            with self.assertRaises(ValueError):
                gen_site.Generator(pages, links, broken, 1, 1000)


if __name__ == "__main__":
    unittest.main()
