#!/usr/bin/python3
"""Times the viewer in Debian's headless Chromium: the first paint of the
tree and the round trip of one mark of a leaf, on generated reports of
1,000 and 10,000 sections (folders of 100 leaves under the main folder, and
every leaf straight under the main folder), and on the scale issue's report
of 4,041 sections with a full settings file (40 folders of 100 items:
tables, charts and texts in turn).

    bench/viewer_bench.py BUILD/tools/rpl-toc [--runs N]

Times are medians of N runs, in ms:
- paint: from the start of the navigation to the first frame after the tree
  is drawn (the page's "rpl-tree-painted" mark), a fresh browser each run;
  and when the page asked for the TOC document and when it had arrived (the
  start of the /api/toc request, the end of its response);
- mark, page: from the key press that toggles a leaf's mark to the tree
  and the section drawn again ("rpl-mark-start" to "rpl-mark-done"); and to
  the settings file shown again with the rewritten blocks marked
  ("rpl-mark-file-shown", the column "file shown");
- ready: from starting `rpl-toc view` to the address line it prints;
- mark, HTTP: POST /api/mark alone, from Python, and the size of its answer
  (the sections the mark touched).
"""
import argparse
import json
import os
import re
import shutil
import signal
import statistics
import subprocess
import tempfile
import time
import urllib.request

from selenium import webdriver
from selenium.webdriver.chrome.service import Service

KINDS = [  # a leaf of each kind the library presents, in turn
    {'type': 4, 'columns': 6, 'rows': 20},
    {'type': 5, 'chart_type': 1},
    {'type': 3, 'html': False},
    {'type': 9, 'gauges': [True, False]},
    {'type': 6, 'embedded_type': 1, 'info': 'x'},
    {'type': 7},
]


def leaf(i):
    return dict(KINDS[i % len(KINDS)], name='Section %05d' % i, header='Header of section %d' % i)


ISSUE_KINDS = [{'type': 4, 'columns': 4, 'rows': 5}, {'type': 5, 'chart_type': 1}, {'type': 3, 'html': False}]


def issue_report():
    """40 folders of 100 items, tables, charts and texts in turn: 4,041 sections."""
    folders = [{'type': 1, 'name': 'Folder %03d' % f, 'children': [
        dict(ISSUE_KINDS[i % 3], name='Section %05d' % (f * 100 + i)) for i in range(100)]} for f in range(40)]
    return {'name': 'bench', 'type': 3, 'root': {'type': 1, 'name': 'Bench', 'children': folders}}


def report(sections, flat):
    """A report of exactly `sections` sections, the main folder included."""
    if flat:
        children = [leaf(i) for i in range(sections - 1)]
    else:
        children, left, i = [], sections - 1, 0
        while left > 0:
            take = min(100, left - 1)
            children.append({'type': 1, 'name': 'Folder %03d' % len(children),
                             'children': [leaf(i + k) for k in range(take)]})
            i += take
            left -= take + 1
    return {'name': 'bench', 'type': 3, 'root': {'type': 1, 'name': 'Bench', 'children': children}}


class Viewer:
    def __init__(self, rpl_toc, report_path, db):
        start = time.perf_counter()
        self.process = subprocess.Popen([rpl_toc, '--db-dir', db, 'view', report_path, '--no-open'],
                                        stdout=subprocess.PIPE, text=True)
        line = self.process.stdout.readline()
        self.ready = (time.perf_counter() - start) * 1000
        self.url = re.search(r'(http://\S+)', line).group(1)
        self.token = self.url.split('token=')[1]
        self.base = self.url.split('/#')[0]

    def post(self, path, body):
        request = urllib.request.Request(self.base + path, data=json.dumps(body).encode(), method='POST', headers={
            'Content-Type': 'application/json', 'X-RPL-Token': self.token})
        with urllib.request.urlopen(request) as response:
            return response.read()

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait(timeout=30)
        self.process.stdout.close()


def browser(profile):
    options = webdriver.ChromeOptions()
    options.binary_location = '/usr/bin/chromium'
    for flag in ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
                 '--disable-background-networking', '--disable-component-update', '--disable-sync',
                 '--disable-dev-shm-usage', '--window-size=1200,900', '--user-data-dir=' + profile]:
        options.add_argument(flag)
    driver = webdriver.Chrome(service=Service('/usr/bin/chromedriver'), options=options)
    driver.set_script_timeout(120)
    return driver


def wait_for(driver, script, timeout=120):
    end = time.time() + timeout
    while time.time() < end:
        value = driver.execute_script(script)
        if value:
            return value
        time.sleep(0.01)
    raise TimeoutError(script)


def first_paint(driver, url):
    """The paint, and when the TOC document was asked for and had arrived, in ms from the navigation's start."""
    driver.get(url)
    paint = wait_for(driver, "const m = performance.getEntriesByName('rpl-tree-painted'); return m.length && m[0].startTime")
    asked, fetched = driver.execute_script(
        "const e = performance.getEntriesByType('resource').find((e) => e.name.endsWith('/api/toc'));"
        "return [e.requestStart, e.responseEnd]")
    return paint, asked, fetched


def page_mark(driver):
    """Selects the first leaf (j), then times space presses that toggle it."""
    settled = "return document.body.dataset.busy === '0'"
    webdriver.ActionChains(driver).send_keys('j').perform()
    wait_for(driver, "return document.querySelector('[aria-selected=\"true\"]') !== null")
    wait_for(driver, settled)
    count = len(driver.execute_script("return performance.getEntriesByName('rpl-mark-done')"))
    webdriver.ActionChains(driver).send_keys(' ').perform()
    wait_for(driver, "return performance.getEntriesByName('rpl-mark-done').length > %d" % count)
    wait_for(driver, settled)
    starts = driver.execute_script("return performance.getEntriesByName('rpl-mark-start').map((e) => e.startTime)")
    dones = driver.execute_script("return performance.getEntriesByName('rpl-mark-done').map((e) => e.startTime)")
    shown = driver.execute_script("return performance.getEntriesByName('rpl-mark-file-shown').map((e) => e.startTime)")
    return dones[-1] - starts[-1], shown[-1] - starts[-1]


def http_mark(viewer, path, marked):
    start = time.perf_counter()
    size = len(viewer.post('/api/mark', {'paths': [path], 'marked': marked}))
    return (time.perf_counter() - start) * 1000, size


def measure(rpl_toc, sections, flat, runs, full=False):
    work = tempfile.mkdtemp(prefix='rpl-viewer-bench-')
    try:
        report_path = os.path.join(work, 'bench.json')
        data = issue_report() if full else report(sections, flat)
        with open(report_path, 'w') as f:
            json.dump(data, f)
        settings = None
        if full:  # every section's block in the file: unmark one leaf, mark the main folder
            seed = tempfile.mkdtemp(dir=work)
            for command, path in (('unmark', '||Bench||Folder 000||Section 00000'), ('mark', '||Bench')):
                subprocess.run([rpl_toc, '--db-dir', seed, command, report_path, path], check=True, stdout=subprocess.DEVNULL)
            settings = [os.path.join(seed, name) for name in os.listdir(seed)]
        first_leaf = '||Bench||' + (data['root']['children'][0]['name'] if flat else
                                    data['root']['children'][0]['name'] + '||' + data['root']['children'][0]['children'][0]['name'])
        paints, asks, fetches, marks, posts, readies, files, size = [], [], [], [], [], [], [], 0
        for _ in range(runs):
            db = tempfile.mkdtemp(dir=work)
            for name in settings or []:
                shutil.copy(name, db)
            viewer = Viewer(rpl_toc, report_path, db)
            readies.append(viewer.ready)
            driver = browser(tempfile.mkdtemp(dir=work))
            try:
                paint, asked, fetched = first_paint(driver, viewer.url)
                paints.append(paint)
                asks.append(asked)
                fetches.append(fetched)
                mark, shown = page_mark(driver)
                marks.append(mark)
                files.append(shown)
                for marked in (False, True):
                    ms, size = http_mark(viewer, first_leaf, marked)
                    posts.append(ms)
            finally:
                driver.quit()
                viewer.stop()
        return (statistics.median(paints), statistics.median(asks), statistics.median(fetches), statistics.median(marks),
                statistics.median(posts), size, statistics.median(readies), statistics.median(files))
    finally:
        shutil.rmtree(work, ignore_errors=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('rpl_toc')
    parser.add_argument('--runs', type=int, default=5)
    args = parser.parse_args()
    print('| sections | layout | ready | paint | TOC asked | TOC in | mark, page | file shown | mark, HTTP | mark answer |')
    print('|---:|---|---:|---:|---:|---:|---:|---:|---:|---:|')
    cases = [(4041, False, True)] + [(n, flat, False) for n in (1000, 10000) for flat in (False, True)]
    for sections, flat, full in cases:
        paint, asked, fetched, mark, post, size, ready, shown = measure(args.rpl_toc, sections, flat, args.runs, full)
        layout = ('40 folders of 100, full settings file' if full else
                  'all under the main folder' if flat else 'folders of 100')
        print('| %s | %s | %.0f | %.0f | %.0f | %.0f | %.0f | %.0f | %.0f | %s B |' % (
            format(sections, ','), layout, ready, paint, asked, fetched, mark, shown, post, format(size, ',')), flush=True)


if __name__ == '__main__':
    main()
