#!/usr/bin/env python3
"""The viewer's server under bad clients, as figures for make bench.

    viewer_bounds.py BUILD/tools/rpl-toc [--keep-alive N] [--slow N]

1. A good client's request (GET /api/toc with the token, a connection of
   its own) timed while N tokenless keep-alive clients send a request a
   second (and connect again when refused and closed) and N slow clients
   send the header lines of a request a byte a second.
2. A burst of 200 clients at once, each with its own connection: how many
   are answered 200, and the time until the last is.
3. A flood of header lines from 1,000 connections, 48 KiB each: the
   server's resident memory before, at most during, and after.
Every client is on 127.0.0.1. Exits 1 when a target is missed (100 ms for
the good client's median and 90th percentile, every client of the burst
answered, under 100 MB during the flood and back within 8 MB after).
"""
import argparse
import http.client
import re
import resource
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time

EXAMPLE = 'examples/small.json'


def start_viewer(rpl_toc, report, db):
    process = subprocess.Popen([rpl_toc, '--db-dir', db, 'view', report, '--no-open'], stdout=subprocess.PIPE, text=True)
    match = re.search(r'http://127\.0\.0\.1:(\d+)/#token=([0-9a-f]{32})', process.stdout.readline())
    if not match:
        process.kill()
        sys.exit('viewer_bounds: rpl-toc view printed no address')
    return process, int(match.group(1)), match.group(2)


def resident_kib(pid):
    with open('/proc/%d/status' % pid) as status:
        return int(re.search(r'VmRSS:\s+(\d+) kB', status.read()).group(1))


def good_request(port, token):
    """Milliseconds to the answer of one request, and its status."""
    started = time.perf_counter()
    connection = http.client.HTTPConnection('127.0.0.1', port, timeout=30)
    connection.request('GET', '/api/toc', headers={'X-RPL-Token': token})
    status = connection.getresponse().status
    connection.close()
    return (time.perf_counter() - started) * 1000, status


def connect(port):
    sock = socket.socket()
    sock.connect(('127.0.0.1', port))
    sock.setblocking(False)
    return sock


def closed_by_server(sock):
    try:
        return sock.recv(65536, socket.MSG_DONTWAIT) == b''
    except BlockingIOError:
        return False
    except OSError:
        return True


class Crowd(threading.Thread):
    """Keep-alive clients that knock without a token and slow clients that dribble, once a second."""

    def __init__(self, port, keep_alive, slow):
        super().__init__(daemon=True)
        self.port = port
        self.knock = ('GET /api/toc HTTP/1.1\r\nHost: 127.0.0.1:%d\r\n\r\n' % port).encode()
        self.dribble = b'GET /api/toc HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: '
        self.knocking = [connect(port) for _ in range(keep_alive)]
        self.slow = [[connect(port), 0] for _ in range(slow)]
        self.stopped = threading.Event()
        self.rounds = 0

    def run(self):
        while not self.stopped.is_set():
            for i, sock in enumerate(self.knocking):
                if closed_by_server(sock):
                    sock.close()
                    self.knocking[i] = sock = connect(self.port)
                try:
                    sock.send(self.knock)
                except OSError:
                    pass
            for client in self.slow:
                if closed_by_server(client[0]):
                    client[0].close()
                    client[:] = [connect(self.port), 0]
                byte = self.dribble[client[1]:client[1] + 1] or b'a'
                try:
                    client[1] += client[0].send(byte)
                except OSError:
                    pass
            self.rounds += 1
            self.stopped.wait(1.0)  # the attack's own rhythm

    def stop(self):
        self.stopped.set()
        self.join()
        for sock in self.knocking + [client[0] for client in self.slow]:
            sock.close()


def crowd_figures(port, token, keep_alive, slow):
    crowd = Crowd(port, keep_alive, slow)
    crowd.start()
    while crowd.rounds < 2:
        time.sleep(0.05)
    times = []
    for i in range(40):
        elapsed, status = good_request(port, token)
        if status != 200:
            print('  the good client was answered %d' % status)
        times.append(elapsed)
        if i % 10 == 9:
            wanted = crowd.rounds + 1
            while crowd.rounds < wanted:
                time.sleep(0.05)
    crowd.stop()
    times.sort()
    median, p90 = statistics.median(times), times[int(len(times) * 0.9)]
    print('good client among %d keep-alive and %d slow clients: median %.2f ms, 90th percentile %.2f ms, worst %.2f ms'
          % (keep_alive, slow, median, p90, times[-1]))
    return median < 100 and p90 < 100


def burst_figures(port, token, clients=200):
    answered = []
    barrier = threading.Barrier(clients)

    def one():
        barrier.wait()
        try:
            answered.append(good_request(port, token))
        except OSError:
            pass

    started = time.perf_counter()
    threads = [threading.Thread(target=one) for _ in range(clients)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    whole = (time.perf_counter() - started) * 1000
    ok = sum(1 for _, status in answered if status == 200)
    print('burst of %d clients: %d answered 200, the last after %.0f ms' % (clients, ok, whole))
    return ok == clients


def flood_figures(process, port, connections=1000):
    before = resident_kib(process.pid)
    lines = ('X-Flood: ' + 'a' * 100 + '\r\n') * 40
    flood = [connect(port) for _ in range(connections)]
    peak = before
    for round_ in range(12):
        for sock in flood:
            try:
                sock.send(((('GET /api/toc HTTP/1.1\r\n') if round_ == 0 else '') + lines).encode())
            except OSError:
                pass
        peak = max(peak, resident_kib(process.pid))
    for sock in flood:
        sock.setblocking(True)
        sock.settimeout(10)
    refused = 0
    for sock in flood:
        try:
            refused += 1 if sock.recv(64).startswith(b'HTTP/1.1 431') else 0
        except OSError:
            pass
        peak = max(peak, resident_kib(process.pid))
        sock.close()
    after = resident_kib(process.pid)
    give_up = time.monotonic() + 10
    while after > before + 8 * 1024 and time.monotonic() < give_up:
        time.sleep(0.05)
        after = resident_kib(process.pid)
    print('header flood of %d connections: %d refused 431; %.1f MB before, %.1f MB at most, %.1f MB after'
          % (connections, refused, before / 1024, peak / 1024, after / 1024))
    return peak < 100 * 1024 and after < before + 8 * 1024


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('rpl_toc')
    parser.add_argument('--report', default=EXAMPLE)
    parser.add_argument('--keep-alive', type=int, default=1000)
    parser.add_argument('--slow', type=int, default=1000)
    args = parser.parse_args()
    soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (min(hard, max(soft, 8192)), hard))
    with tempfile.TemporaryDirectory() as db:
        process, port, token = start_viewer(args.rpl_toc, args.report, db)
        try:
            good = [crowd_figures(port, token, args.keep_alive, args.slow), burst_figures(port, token),
                    flood_figures(process, port)]
        finally:
            process.terminate()
            process.wait(timeout=30)
            process.stdout.close()
    return 0 if all(good) else 1


if __name__ == '__main__':
    sys.exit(main())
