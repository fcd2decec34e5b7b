#!/usr/bin/env python3
"""Measures orrelwick-cli and peer link checkers crawling a generated site served by nginx.

Generates the site(s), starts the private nginx, runs every tool under /usr/bin/time -v with a
time cap, checks each tool's findings against the planted broken links, measures the server's
ceiling for the same URL list with wrk and the fetch floor (the same list fetched on one thread
with nothing read, through orrelwick's connection layer and through bare libcurl), prints a
markdown table and writes it to build/bench-crawl/results.md. bench/crawl/run.sh installs the
tools and builds the binaries first.
"""

import argparse
import csv
import datetime
import io
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
sys.dont_write_bytecode = True  # keep the source folder clean
sys.path.insert(0, HERE)
import gen_site  # noqa: E402

WORK = os.path.join(ROOT, "build", "bench-crawl")
CLI = os.path.join(ROOT, "build", "release", "src", "cli", "orrelwick-cli")
FLOOR = os.path.join(ROOT, "build", "release", "bench", "crawl", "fetch_floor")
LINKINATOR = os.path.join(ROOT, "build", "bench-tools", "node_modules", ".bin", "linkinator")
MISSING_RE = re.compile(r"/s\d+/missing-\d+-\d+\.html")


class Site:
    def __init__(self, pages, links, broken, seed):
        self.out = gen_site.default_out(ROOT, pages, links, broken, seed)
        started = time.monotonic()
        self.meta = gen_site.generate(self.out, pages, links, broken, seed, 20000, quiet=False)
        self.gen_seconds = time.monotonic() - started
        self.pages = self.meta["html_pages"]
        self.www = os.path.join(self.out, "www")
        self.urls_file = os.path.join(self.out, "urls.txt")
        with open(os.path.join(self.out, "broken.txt")) as f:
            self.broken = {line.split("\t")[0] for line in f if line.strip()}


class Result:
    """One row of the table."""

    def __init__(self, tool, site):
        self.tool = tool
        self.site = site
        self.finished = False
        self.cap_min = 0
        self.wall = 0.0
        self.rss_mb = None
        self.pages_done = None  # HTML pages fetched; None when the tool does not tell
        self.urls_done = None  # distinct URLs checked
        self.found = None  # planted broken paths the tool reported
        self.extra_bad = None  # reported bad that were not planted
        self.load = 0.0
        self.note = ""
        self.exit = None
        self.cpu_s = None  # the tool's user + system CPU seconds
        self.server_cpu_s = None  # nginx's CPU seconds while the tool ran

    def pages_per_s(self):
        n = self.site.pages if self.finished else self.pages_done
        return n / self.wall if n is not None and self.wall > 0 else None

    def links_per_s(self):
        return self.urls_done / self.wall if self.urls_done is not None and self.wall > 0 else None


def loadavg():
    return os.getloadavg()[0]


def server_cpu_seconds():
    """User plus system CPU seconds spent so far by the private nginx (master and workers), or
    None when it is not running. Loopback traffic is processed in the kernel on behalf of either
    end, so this is the server's share of the machine as the scheduler counted it."""
    try:
        with open(os.path.join(ROOT, "build", "bench-nginx", "nginx.pid")) as f:
            master = int(f.read().strip())
    except (OSError, ValueError):
        return None
    ticks = 0
    for entry in os.listdir("/proc"):
        if not entry.isdigit():
            continue
        try:
            with open("/proc/%s/stat" % entry) as f:
                fields = f.read().rsplit(")", 1)[1].split()
        except OSError:
            continue
        # After the command name: state ppid ... utime is field 14 and stime 15 of the whole line.
        if int(entry) == master or int(fields[1]) == master:
            ticks += int(fields[11]) + int(fields[12])
    return ticks / os.sysconf("SC_CLK_TCK")


def run_timed(name, cmd, cap_s, cwd=None, env=None):
    """Runs cmd under `timeout -s INT` and /usr/bin/time -v; returns (rc, wall, rss_kb, out, err).

    timeout signals the whole process group, so the tool itself gets SIGINT (time ignores it)
    and may still write what it found; 30 s later it is killed."""
    tfile = os.path.join(WORK, name + ".time")
    ofile = os.path.join(WORK, name + ".out")
    efile = os.path.join(WORK, name + ".err")
    full = ["timeout", "-k", "30", "-s", "INT", str(int(cap_s)), "/usr/bin/time", "-v", "-o", tfile]
    full += cmd
    with open(ofile, "wb") as out, open(efile, "wb") as err:
        started = time.monotonic()
        rc = subprocess.call(full, stdout=out, stderr=err, cwd=cwd, env=env)
        wall = time.monotonic() - started
    rss = None
    try:
        with open(tfile) as f:
            m = re.search(r"Maximum resident set size \(kbytes\): (\d+)", f.read())
            rss = int(m.group(1)) if m else None
    except FileNotFoundError:
        pass
    with open(ofile, "rb") as f:
        out_text = f.read().decode("utf-8", "replace")
    with open(efile, "rb") as f:
        err_text = f.read().decode("utf-8", "replace")
    return rc, wall, rss, out_text, err_text


def cpu_seconds(name):
    """User plus system CPU seconds of the command run_timed last ran under this name."""
    try:
        with open(os.path.join(WORK, name + ".time")) as f:
            text = f.read()
    except FileNotFoundError:
        return None
    u = re.search(r"User time \(seconds\): ([\d.]+)", text)
    k = re.search(r"System time \(seconds\): ([\d.]+)", text)
    return float(u.group(1)) + float(k.group(1)) if u and k else None


def fill(res, rc, wall, rss, cap_s):
    res.exit = rc
    res.wall = wall
    res.rss_mb = rss / 1024 if rss else None
    res.finished = rc != 124 and rc != 137
    res.cap_min = cap_s / 60


def run_orrelwick(site, port, cap_s, threads):
    res = Result("orrelwick-cli", site)
    home = os.path.join(WORK, "home")
    shutil.rmtree(home, ignore_errors=True)
    os.makedirs(home)
    csv_file = os.path.join(WORK, "orrelwick-p%d.csv" % site.pages)
    if os.path.exists(csv_file):
        os.remove(csv_file)
    env = dict(os.environ, ORRELWICK_HOME=home)
    cmd = [CLI, "crawl", "http://127.0.0.1:%d/" % port, "--set", "numberOfThreads=%d" % threads,
           "--quiet", "--flat-csv", csv_file, "--bad-only"]
    res.command = " ".join(cmd[:1] + cmd[1:]).replace(ROOT + "/", "")
    res.load = loadavg()
    server_before = server_cpu_seconds()
    rc, wall, rss, out, err = run_timed("orrelwick-p%d" % site.pages, cmd, cap_s, env=env)
    server_after = server_cpu_seconds()
    fill(res, rc, wall, rss, cap_s)
    res.cpu_s = cpu_seconds("orrelwick-p%d" % site.pages)
    if server_before is not None and server_after is not None:
        res.server_cpu_s = server_after - server_before
    if rc not in (0, 1, 124):
        res.note = "exit %d: %s" % (rc, (err.strip().splitlines() or [""])[-1][:120])
    # The closing summary reads "N of M links checked, K bad".
    m = re.search(r"(\d+) of (\d+) links checked", out)
    if m:
        res.urls_done = int(m.group(1))
    if os.path.exists(csv_file):
        found, extra = set(), 0
        with open(csv_file, newline="", encoding="utf-8", errors="replace") as f:
            rows = list(csv.reader(f))
        prefix = "http://127.0.0.1:%d" % port
        for row in rows[1:]:
            paths = [v[len(prefix):] for v in row if v.startswith(prefix)]
            hit = [p for p in paths if p in site.broken]
            is_404 = any(v.startswith("404") for v in row)
            if hit and is_404:
                found.add(hit[0])
            elif row:
                extra += 1
        res.found = len(found)
        res.extra_bad = extra
        res.csv_rows = len(rows)
    elif not res.note:
        res.note = "no CSV written"
    return res


def profile_orrelwick(site, port, threads):
    """Records one crawl with perf (DWARF call graphs: the Release build has no frame pointers)
    and writes the self-time and inclusive-time tables next to the results."""
    home = os.path.join(WORK, "home")
    shutil.rmtree(home, ignore_errors=True)
    os.makedirs(home)
    data = os.path.join(WORK, "perf.data")
    env = dict(os.environ, ORRELWICK_HOME=home)
    cmd = ["perf", "record", "-q", "-F", "700", "--call-graph", "dwarf,16384", "-o", data, CLI,
           "crawl", "http://127.0.0.1:%d/" % port, "--set", "numberOfThreads=%d" % threads,
           "--quiet", "--flat-csv", os.path.join(WORK, "profile.csv"), "--bad-only"]
    subprocess.call(cmd, env=env, stdout=subprocess.DEVNULL)
    outputs = {
        "profile-self.txt": ["--no-children", "--sort", "dso,symbol", "--percent-limit", "0.5"],
        "profile-inclusive.txt": ["--children", "--sort", "symbol", "--percent-limit", "2"],
    }
    for name, extra in outputs.items():
        with open(os.path.join(WORK, name), "w") as f:
            subprocess.call(["perf", "report", "-i", data, "-g", "none", "--stdio"] + extra,
                            stdout=f, stderr=subprocess.DEVNULL)
    print("   profile: %s, %s (perf report -i %s for more)" % (
        *[os.path.join(WORK, n) for n in outputs], data), file=sys.stderr)


def distinct(regex, text):
    return {m.group(1) for m in regex.finditer(text)}


def run_wget(site, port, cap_s):
    res = Result("wget --spider -r", site)
    tmp = os.path.join(WORK, "wget-tmp")
    shutil.rmtree(tmp, ignore_errors=True)
    os.makedirs(tmp)
    cmd = ["wget", "--spider", "-r", "-l", "inf", "-nv", "-e", "robots=off", "-P", tmp,
           "http://127.0.0.1:%d/" % port]
    res.load = loadavg()
    rc, wall, rss, out, err = run_timed("wget-p%d" % site.pages, cmd, cap_s, cwd=tmp)
    fill(res, rc, wall, rss, cap_s)
    log = out + err
    fetched = distinct(re.compile(r"URL: ?http://127\.0\.0\.1:\d+(/\S*)"), log)
    res.pages_done = len([p for p in fetched if p.endswith((".html", "/"))])
    tail = log[log.rfind("broken link"):] if "Found " in log else ""
    found = set(MISSING_RE.findall(tail))
    res.found = len(found & site.broken)
    res.urls_done = len(fetched) + len(found)
    m = re.search(r"Found (\d+) broken link", log)
    res.extra_bad = int(m.group(1)) - res.found if m else None
    shutil.rmtree(tmp, ignore_errors=True)
    return res


def run_linkinator(site, port, cap_s, threads):
    res = Result("linkinator", site)
    cmd = [LINKINATOR, "http://127.0.0.1:%d/" % port, "--recurse", "--concurrency", str(threads),
           "--format", "csv"]
    res.load = loadavg()
    rc, wall, rss, out, err = run_timed("linkinator-p%d" % site.pages, cmd, cap_s)
    fill(res, rc, wall, rss, cap_s)
    # Rows are written as links are checked, so an interrupted run still shows its progress.
    rows = list(csv.reader(io.StringIO(out)))[1:]
    urls = {r[0] for r in rows if r}
    res.urls_done = len(urls)
    res.pages_done = len({u for u in urls if u.endswith((".html", "/")) and "/missing-" not in u})
    bad = {r[0].split(":%d" % port, 1)[-1] for r in rows if len(r) > 2 and r[2] == "BROKEN"}
    res.found = len(bad & site.broken)
    res.extra_bad = len(bad - site.broken)
    return res


def run_linkchecker(site, port, cap_s, threads):
    res = Result("LinkChecker", site)
    rc_file = os.path.join(WORK, "linkcheckerrc")
    with open(rc_file, "w") as f:
        # Without this it waits 0.1-0.6 s between requests to one host; nginx.sh sends the
        # header that lets it apply this rate instead.
        f.write("[checking]\nmaxrequestspersecond=100000\n")
    cmd = ["linkchecker", "-f", rc_file, "--threads", str(threads), "--no-warnings",
           "--no-robots", "-o", "text", "http://127.0.0.1:%d/" % port]
    res.load = loadavg()
    rc, wall, rss, out, err = run_timed("linkchecker-p%d" % site.pages, cmd, cap_s, cwd="/tmp")
    fill(res, rc, wall, rss, cap_s)
    m = re.search(r"That's it\. \d+ links? in (\d+) URLs? checked", out)
    if m:
        res.urls_done = int(m.group(1))
    else:
        prog = re.findall(r"\d+ links? in (\d+) URLs? checked", err)
        res.urls_done = int(prog[-1]) if prog else None
    real = set(re.findall(r"Real URL\s+http://127\.0\.0\.1:\d+(\S+)", out))
    res.found = len(real & site.broken)
    res.extra_bad = len(real - site.broken)
    return res


WRK_SCRIPT = r"""
-- Walks the site's URL list, each thread from its own offset, one request per path.
local paths = {}
for line in io.lines(os.getenv("BENCH_URLS")) do paths[#paths + 1] = line end
local counter = 0
function setup(thread)
  thread:set("id", counter)
  counter = counter + 1
end
local i = 0
function init(args)
  i = (id or 0) * math.floor(#paths / 2)
end
function request()
  i = (i % #paths) + 1
  return wrk.format("GET", paths[i])
end
"""


def run_ceiling(site, port, seconds, conns):
    script = os.path.join(WORK, "walk.lua")
    with open(script, "w") as f:
        f.write(WRK_SCRIPT)
    load = loadavg()
    env = dict(os.environ, BENCH_URLS=site.urls_file)
    cmd = ["wrk", "-t2", "-c%d" % conns, "-d%ds" % seconds, "-s", script,
           "http://127.0.0.1:%d" % port]
    out = subprocess.run(cmd, env=env, capture_output=True, text=True).stdout
    with open(os.path.join(WORK, "wrk-p%d.out" % site.pages), "w") as f:
        f.write(out)
    m = re.search(r"Requests/sec:\s+([\d.]+)", out)
    t = re.search(r"Transfer/sec:\s+(\S+)", out)
    rps = float(m.group(1)) if m else None
    # Pages per second at that rate: the URL list is the site's pages plus a few static files
    # and the broken links, so the page share of requests is pages/len(list).
    with open(site.urls_file) as f:
        n_urls = sum(1 for _ in f)
    return {"rps": rps, "pages_per_s": rps * site.pages / n_urls if rps else None,
            "transfer": t.group(1) if t else "?", "load": load, "urls": n_urls,
            "command": " ".join(cmd).replace(ROOT + "/", "")}


def run_floor(site, port, threads, via, repeat=3):
    """Fetches the site's URL list with `threads` transfers in flight and reads nothing: through
    orrelwick's own connection layer (via="orrelwick") or a bare libcurl loop (via="libcurl").
    No crawl on one thread can beat this; returns the median run's figures, or None."""
    if not os.access(FLOOR, os.X_OK):
        return None
    # Both loops make the crawl's heap settings themselves; the environment is passed as it is.
    runs = []
    for _ in range(repeat):
        out = subprocess.run([FLOOR, "--via", via, "--slots", str(threads),
                              "http://127.0.0.1:%d" % port, site.urls_file],
                             capture_output=True, text=True).stdout
        m = re.search(r"requests (\d+) failed (\d+) wall ([\d.]+) cpu ([\d.]+) req/s (\d+)", out)
        if m:
            runs.append({"requests": int(m.group(1)), "failed": int(m.group(2)),
                         "wall": float(m.group(3)), "cpu": float(m.group(4)),
                         "rps": float(m.group(5))})
    if not runs:
        return None
    runs.sort(key=lambda r: r["wall"])
    mid = dict(runs[len(runs) // 2])
    mid["walls"] = [r["wall"] for r in runs]
    mid["via"] = via
    return mid


FLOOR_LABEL = {"libcurl": "fetch floor: bare libcurl loop",
               "orrelwick": "fetch floor: orrelwick connection layer"}


def fmt(v, pattern="%.0f", none="-"):
    return none if v is None else pattern % v


def table(results, ceilings, floors):
    lines = ["| Tool | Site pages | Result | Wall s | Pages/s | Links/s | Peak RSS MB | "
             "Broken found | Other bad | Load |",
             "|---|---:|---|---:|---:|---:|---:|---|---:|---:|"]
    for r in results:
        if r.finished:
            state = "finished" if not r.note else r.note
        else:
            done = ("%d pages" % r.pages_done if r.pages_done is not None
                    else "%s URLs" % fmt(r.urls_done, "%d", "?"))
            state = "did not finish in %g min (%s done)" % (r.cap_min, done)
        found = "-" if r.found is None else "%d/%d%s" % (
            r.found, len(r.site.broken), " (all)" if r.found == len(r.site.broken) else "")
        lines.append("| %s | %d | %s | %.1f | %s | %s | %s | %s | %s | %.2f |" % (
            r.tool, r.site.pages, state, r.wall, fmt(r.pages_per_s()), fmt(r.links_per_s()),
            fmt(r.rss_mb), found, fmt(r.extra_bad, "%d"), r.load))
    for pages, c in ceilings.items():
        lines.append("| nginx ceiling (wrk, 16 conn., URL list) | %d | %s req/s, %s/s | - | %s | %s "
                     "| - | - | - | %.2f |" % (pages, fmt(c["rps"]), c["transfer"],
                                               fmt(c["pages_per_s"]), fmt(c["rps"]), c["load"]))
    for f in floors:
        lines.append("| %s (URL list, bodies dropped; median of %d: %s s) | %d | %d requests, %d failed "
                     "| %.2f | - | %s | - | - | - | - |" % (
                         FLOOR_LABEL[f["via"]], len(f["walls"]),
                         ", ".join("%.2f" % w for w in f["walls"]), f["pages"], f["requests"],
                         f["failed"], f["wall"], fmt(f["rps"])))
    return "\n".join(lines)


def targets(results, ceilings, main_site, floors=()):
    ours = [r for r in results if r.tool.startswith("orrelwick-cli") and r.site is main_site]
    if not ours:
        return []
    o = ours[0]
    out = []
    ok = o.finished and o.found == len(main_site.broken)
    out.append("- every planted broken link found: %s (%s of %d)" % (
        "MET" if ok else "NOT MET", fmt(o.found, "%d", "none"), len(main_site.broken)))
    # Compare pages/s per site size: a peer run on the smaller site is compared with our run on
    # that same site when there is one.
    best = None
    for r in results:
        if r.tool.startswith("orrelwick-cli") or r.pages_per_s() is None:
            continue
        mine = [x for x in results if x.tool.startswith("orrelwick-cli") and x.site is r.site]
        mine_pps = mine[0].pages_per_s() if mine and mine[0].finished else None
        if best is None or r.pages_per_s() > best[0].pages_per_s():
            best = (r, mine_pps)
    if best and best[1]:
        ratio = best[1] / best[0].pages_per_s()
        out.append("- at least 5x the pages/s of the fastest peer (%s, %.0f pages/s on %d pages): "
                   "%s (%.1fx)" % (best[0].tool, best[0].pages_per_s(), best[0].site.pages,
                                   "MET" if ratio >= 5 else "NOT MET", ratio))
    c = ceilings.get(main_site.pages)
    if c and c["rps"] and o.links_per_s():
        share = o.links_per_s() / c["rps"]
        out.append("- share of the server ceiling (%.0f req/s over the same URLs; for "
                   "information, no target): %.0f links/s = %.0f%%" % (
                       c["rps"], o.links_per_s(), 100 * share))
        bound = cpu_bound(o, c["rps"])
        if bound:
            out.append("  " + bound)
        for f in floors:
            if f["pages"] == main_site.pages:
                out.append("  %s, nothing read: %.2f s, %.0f req/s = %.0f%% of the ceiling "
                           "(CPU %.2f s)" % (FLOOR_LABEL[f["via"]], f["wall"], f["rps"],
                                             100 * f["rps"] / c["rps"], f["cpu"]))
    if o.rss_mb is not None:
        out.append("- peak RSS under 300 MB on the %d-page site: %s (%.0f MB)" % (
            main_site.pages, "MET" if o.rss_mb < 300 else "NOT MET", o.rss_mb))
    return out


def cpu_bound(o, ceiling_rps):
    """States what the CPU time of one crawl allows: the crawl's own thread and the server share
    this machine's cores, so no schedule of the same work ends before the crawl's CPU time, nor
    before the crawl's and the server's CPU time together spread over every core."""
    if not (o.finished and o.cpu_s and o.server_cpu_s is not None and o.urls_done and ceiling_rps):
        return None
    cores = os.cpu_count() or 1
    shortest = max(o.cpu_s, (o.cpu_s + o.server_cpu_s) / cores)
    needed = o.urls_done / (ceiling_rps / 2)
    return ("CPU: orrelwick-cli %.2f s, nginx %.2f s while it ran; on %d cores that work cannot "
            "end in under %.2f s (%.0f%% of the ceiling at best); half the ceiling needs %.2f s" % (
                o.cpu_s, o.server_cpu_s, cores, shortest,
                100 * o.urls_done / shortest / ceiling_rps, needed))


def paired_rounds(site, port, rounds, cap_s, threads, tools, ceiling_seconds, settle):
    """Runs orrelwick-cli, each peer on the main site and the ceiling one after another, `rounds`
    times. This machine's speed drifts by up to half over minutes (a whole run of every tool slows
    down together), so each round's ratios compare tools measured under the same conditions.
    Every tool starts after `settle` idle seconds, so that none inherits the previous one's load."""
    rows = []

    def idle():
        time.sleep(settle)

    for k in range(rounds):
        row = {"round": k + 1, "load": loadavg()}
        print("== paired round %d (load %.2f)" % (k + 1, row["load"]), file=sys.stderr)
        idle()
        o = run_orrelwick(site, port, cap_s, threads)
        row["orrelwick"] = o
        peers = []
        if "wget" in tools:
            idle()
            peers.append(run_wget(site, port, cap_s))
        if "linkinator" in tools:
            idle()
            peers.append(run_linkinator(site, port, cap_s, threads))
        row["peers"] = peers
        done = [p for p in peers if p.finished and p.pages_per_s()]
        row["fastest"] = max(done, key=lambda p: p.pages_per_s()) if done else None
        if "floor" in tools:
            for via in ("orrelwick", "libcurl"):
                idle()
                f = run_floor(site, port, threads, via, repeat=1)
                row["floor_" + via] = f["rps"] if f else None
        if "ceiling" in tools:
            idle()
        row["ceiling"] = (run_ceiling(site, port, ceiling_seconds, threads)["rps"]
                          if "ceiling" in tools else None)
        f = row["fastest"]
        row["ratio"] = (o.pages_per_s() / f.pages_per_s()
                        if o.finished and f and o.pages_per_s() else None)
        row["share"] = (o.links_per_s() / row["ceiling"]
                        if o.finished and row["ceiling"] and o.links_per_s() else None)
        print("   orrelwick-cli %.2f s; %s; ratio %s, share of ceiling %s" % (
            o.wall, ", ".join("%s %.1f s" % (p.tool, p.wall) for p in peers),
            fmt(row["ratio"], "%.2fx"), fmt(row["share"] and 100 * row["share"], "%.0f%%")),
            file=sys.stderr)
        rows.append(row)
    return rows


def paired_table(rows):
    peer_names = [p.tool for p in rows[0]["peers"]] if rows else []
    head = ["Round", "orrelwick-cli s", "pages/s", "links/s"] + ["%s s" % n for n in peer_names] + [
        "fastest peer pages/s", "ratio", "ceiling req/s", "share of ceiling",
        "floor req/s (orrelwick layer / libcurl)", "crawl CPU s",
        "nginx CPU s", "found", "Load"]
    lines = ["| " + " | ".join(head) + " |", "|" + "---:|" * len(head)]
    for r in rows:
        o, f = r["orrelwick"], r["fastest"]
        cells = ["%d" % r["round"], "%.2f" % o.wall, fmt(o.pages_per_s()), fmt(o.links_per_s())]
        cells += ["%.1f" % p.wall if p.finished else "did not finish" for p in r["peers"]]
        cells += [fmt(f.pages_per_s()) if f else "-", fmt(r["ratio"], "%.2fx"), fmt(r["ceiling"]),
                  fmt(r["share"] and 100 * r["share"], "%.0f%%"),
                  "%s / %s" % (fmt(r.get("floor_orrelwick")), fmt(r.get("floor_libcurl"))),
                  fmt(o.cpu_s, "%.2f"),
                  fmt(o.server_cpu_s, "%.2f"), "%s/%d" % (fmt(o.found, "%d", "?"), len(o.site.broken)), "%.2f" % r["load"]]
        lines.append("| " + " | ".join(cells) + " |")
    return "\n".join(lines)


def median(values):
    values = sorted(v for v in values if v is not None)
    return values[len(values) // 2] if values else None


def free_port():
    import socket
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def main(argv=None):
    ap = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    ap.add_argument("--pages", type=int, default=20000)
    ap.add_argument("--links", type=int, default=40)
    ap.add_argument("--broken", type=float, default=0.01)
    ap.add_argument("--seed", type=int, default=1)
    ap.add_argument("--small-pages", type=int, default=2000,
                    help="site size for the slow peers (LinkChecker; linkinator with --small-linkinator)")
    ap.add_argument("--cap", type=float, default=10, help="minutes each tool may run")
    ap.add_argument("--threads", type=int, default=16, help="fetches in flight for every tool")
    ap.add_argument("--ceiling-seconds", type=int, default=10)
    ap.add_argument("--tools", default="orrelwick,ceiling,floor,wget,linkinator,linkchecker",
                    help="comma-separated subset to run")
    ap.add_argument("--small-linkinator", action="store_true",
                    help="run linkinator on the small site instead of the main one")
    ap.add_argument("--port", type=int, default=0, help="nginx port (default: a free one)")
    ap.add_argument("--repeat", type=int, default=3,
                    help="orrelwick-cli runs per site; the median is reported")
    ap.add_argument("--paired", type=int, default=0, metavar="N",
                    help="also run N rounds of orrelwick-cli, the peers on the main site and the "
                         "ceiling back to back, and judge the speed targets by the rounds' medians")
    ap.add_argument("--settle", type=float, default=5, metavar="S",
                    help="idle seconds before each tool of a paired round")
    ap.add_argument("--profile", action="store_true",
                    help="also record one orrelwick-cli crawl of the main site with perf")
    a = ap.parse_args(argv)
    tools = set(a.tools.split(","))
    cap_s = a.cap * 60
    os.makedirs(WORK, exist_ok=True)

    print("== generating the site (%d pages x %d links, %g broken)" % (a.pages, a.links, a.broken),
          file=sys.stderr)
    main_site = Site(a.pages, a.links, a.broken, a.seed)
    small = None
    if a.small_pages and a.small_pages != a.pages and tools & {"linkchecker", "linkinator"}:
        small = Site(a.small_pages, a.links, a.broken, a.seed)

    port = a.port or free_port()
    nginx = os.path.join(HERE, "nginx.sh")
    results, ceilings, floors = [], {}, []
    started = datetime.datetime.now(datetime.timezone.utc)

    def serve(site):
        subprocess.check_call([nginx, "start", site.www, str(port)])

    def step(label, fn, *args):
        print("== %s (load %.2f)" % (label, loadavg()), file=sys.stderr)
        r = fn(*args)
        if isinstance(r, Result):
            print("   %.1f s, %s pages/s, %s links/s, %s MB, found %s/%d %s" % (
                r.wall, fmt(r.pages_per_s()), fmt(r.links_per_s()), fmt(r.rss_mb), r.found,
                len(r.site.broken), r.note), file=sys.stderr)
            results.append(r)
        return r

    try:
        for site in [main_site] + ([small] if small else []):
            serve(site)
            is_main = site is main_site
            if "orrelwick" in tools and (is_main or "linkchecker" in tools or a.small_linkinator):
                if os.access(CLI, os.X_OK):
                    runs = [step("orrelwick-cli on %d pages, run %d" % (site.pages, k + 1),
                                 run_orrelwick, site, port, cap_s, a.threads)
                            for k in range(a.repeat)]
                    # Keep the run with the median wall time; the others leave the table.
                    runs.sort(key=lambda r: r.wall)
                    for r in runs:
                        results.remove(r)
                    mid = runs[len(runs) // 2]
                    if len(runs) > 1:
                        mid.tool += " (median of %d: %s s)" % (
                            len(runs), ", ".join("%.2f" % r.wall for r in runs))
                    results.append(mid)
                else:
                    print("   %s is missing: build it first" % CLI, file=sys.stderr)
            if "ceiling" in tools:
                print("== server ceiling on %d pages (load %.2f)" % (site.pages, loadavg()),
                      file=sys.stderr)
                ceilings[site.pages] = run_ceiling(site, port, a.ceiling_seconds, a.threads)
                print("   %s req/s" % fmt(ceilings[site.pages]["rps"]), file=sys.stderr)
            if "floor" in tools and is_main:
                for via in ("orrelwick", "libcurl"):
                    print("== %s on %d pages (load %.2f)" % (FLOOR_LABEL[via], site.pages,
                                                             loadavg()), file=sys.stderr)
                    f = run_floor(site, port, a.threads, via)
                    if f:
                        f["pages"] = site.pages
                        floors.append(f)
                        print("   %.2f s, %.0f req/s" % (f["wall"], f["rps"]), file=sys.stderr)
                    else:
                        print("   %s is missing or failed: build it first" % FLOOR,
                              file=sys.stderr)
            if a.profile and is_main and os.access(CLI, os.X_OK):
                print("== profiling orrelwick-cli on %d pages" % site.pages, file=sys.stderr)
                profile_orrelwick(site, port, a.threads)
            if "wget" in tools and is_main:
                step("wget on %d pages" % site.pages, run_wget, site, port, cap_s)
            if "linkinator" in tools and (is_main != a.small_linkinator or not small):
                step("linkinator on %d pages" % site.pages, run_linkinator, site, port, cap_s,
                     a.threads)
            if "linkchecker" in tools and (not is_main or not small):
                step("LinkChecker on %d pages" % site.pages, run_linkchecker, site, port, cap_s,
                     a.threads)
        rounds = []
        if a.paired:
            serve(main_site)
            rounds = paired_rounds(main_site, port, a.paired, cap_s, a.threads, tools,
                                   a.ceiling_seconds, a.settle)
    finally:
        subprocess.call([nginx, "stop"])

    md = ["# Crawl benchmark results", "",
          "%s UTC, %s, %d cores; site %d pages x %d links, %g broken (%d planted), "
          "%.0f MB of HTML; every tool %d fetches in flight, capped at %g min. "
          "Load is the 1-minute load average when the tool started." % (
              started.strftime("%Y-%m-%d %H:%M"), os.uname().nodename, os.cpu_count(),
              main_site.pages, a.links, a.broken, len(main_site.broken),
              main_site.meta["html_bytes"] / 1e6, a.threads, a.cap), "",
          table(results, ceilings, floors), ""]
    tg = targets(results, ceilings, main_site, floors)
    if tg:
        md += ["Targets:", ""] + tg + [""]
    if rounds:
        ratio = median(r["ratio"] for r in rounds)
        share = median(r["share"] for r in rounds)
        md += ["Paired rounds on the %d-page site (each round runs every tool back to back, "
               "%g s idle before each):" % (main_site.pages, a.settle), "", paired_table(rounds), "",
               "- at least 5x the pages/s of the fastest peer, median of the rounds: %s (%s)" % (
                   "MET" if ratio and ratio >= 5 else "NOT MET", fmt(ratio, "%.2fx")),
               "- share of the server ceiling, median of the rounds: %s" % (
                   fmt(share and 100 * share, "%.0f%%"))]
        bounds = sorted((r for r in rounds
                         if r["ceiling"] and cpu_bound(r["orrelwick"], r["ceiling"])),
                        key=lambda r: r["orrelwick"].wall)
        if bounds:
            mid = bounds[len(bounds) // 2]
            md += ["  " + cpu_bound(mid["orrelwick"], mid["ceiling"]) + " (the median round)"]
        md += [""]
    ours = [r for r in results if r.tool.startswith("orrelwick-cli")]
    if ours:
        md += ["Command: `%s`" % ours[0].command, ""]
    text = "\n".join(md)
    print(text)
    with open(os.path.join(WORK, "results.md"), "w") as f:
        f.write(text)
    with open(os.path.join(WORK, "results.json"), "w") as f:
        json.dump([{k: v for k, v in vars(r).items() if k != "site"} | {"site_pages": r.site.pages}
                   for r in results] + [{"ceiling": ceilings, "floors": floors}], f, indent=1,
                  default=str)
    return 0


if __name__ == "__main__":
    signal.signal(signal.SIGINT, signal.default_int_handler)
    # A plain kill still stops nginx through main's finally clause.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    sys.exit(main())
