#!/usr/bin/env python3
"""limes serve with real clients: the JSON interface, hostile clients, and the page in headless
Chromium on a desktop and a phone, light and dark.

usage: serve_test.py PROGRAM [PICTURES]   (PICTURES: folder for what the page looks like)
exit 77: the program was built without HTTP
"""

import json
import os
import pathlib
import resource
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import urllib.error
import urllib.request

import browser

PROGRAM = os.path.abspath(sys.argv[1])
PICTURES = pathlib.Path(sys.argv[2]).absolute() if len(sys.argv) > 2 else None


def curve(shift: float, spike: float = 0.0, points: int = 200) -> bytes:
    rows = ["Frequency [Hz],Noise [Pa]"]
    rows += [f"{i},{5 + (i * 7 % 11) / 10 + shift + (spike if i == 120 else 0):.4f}"
             for i in range(points)]
    return ("\n".join(rows) + "\n").encode()


class Bench:
    """A served store."""

    def __init__(self, store: str, *options: str) -> None:
        self.process = subprocess.Popen([PROGRAM, "serve", store, *options], text=True,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        line = self.process.stdout.readline()
        if "http" not in line:
            text = self.process.stderr.read()
            if "built without HTTP" in text:
                sys.exit(77)
            raise AssertionError(text)
        self.url = line.split()[-1]
        self.port = int(self.url.rstrip("/").rsplit(":", 1)[1])

    def ask(self, path: str, body: bytes | None = None, **headers: str):
        request = urllib.request.Request(self.url + path, data=body, headers={
            name.replace("_", "-"): value for name, value in headers.items()})
        try:
            with urllib.request.urlopen(request, timeout=20) as answer:
                text, code = answer.read(), answer.status
        except urllib.error.HTTPError as refused:
            text, code = refused.read(), refused.code
        try:
            return code, json.loads(text)
        except ValueError:
            return code, text.decode()

    def end(self, kill: bool = False) -> None:
        self.process.send_signal(signal.SIGKILL if kill else signal.SIGTERM)
        code = self.process.wait(20)
        assert kill or code == 0, (code, self.process.stderr.read())


def run(*words: str) -> str:
    done = subprocess.run([PROGRAM, *words], text=True, capture_output=True, check=False)
    assert done.returncode in (0, 1, 3), done.stderr
    return done.stdout


def learn(store: str) -> None:
    pathlib.Path("good").mkdir()
    for i in range(40):
        pathlib.Path(f"good/{i:02}.csv").write_bytes(curve((i * 13 % 40) / 100))
    run("learn", store, "good", "--factor", "4", "--base", "0.2", "--guard")


def check_interface(bench: Bench) -> None:
    code, judged = bench.ask("parts?name=p1.csv", curve(0.2))
    assert (code, judged["verdict"]) == (200, "OK"), judged
    code, judged = bench.ask("parts?name=p2.csv", curve(0.2, spike=5))
    assert (code, judged["verdict"]) == (200, "NOK"), judged
    number = judged["parts"][0]["id"]
    assert bench.ask(f"parts/{number}")[1]["part"] == "p2.csv"
    assert bench.ask("parts/999999")[0] == 404
    assert [part["part"] for part in bench.ask("parts?last=2")[1]] == ["p2.csv", "p1.csv"]
    assert [part["part"] for part in bench.ask(f"parts?before={number}")[1]][0] == "p1.csv"
    limits = bench.ask("limits")[1]
    assert [side["side"] for side in limits] == ["upper", "lower"] and limits[0]["learnt"] > 30
    for name, body, expected in [("p3.csv", b"a,b\n1", 422), ("", curve(0), 400),
                                 ("p.csv", curve(0, points=20), 200)]:
        code, answer = bench.ask(f"parts?name={name}", body)
        assert code == expected and answer.get("verdict", "not judged") == "not judged", answer
    assert 'limes_parts_total{verdict="nok"} 1' in bench.ask("metrics")[1]
    interface = bench.ask("openapi.json")[1]
    asked = {"/parts", "/limits", "/state", "/metrics"}
    assert asked <= set(interface["paths"]) and all(bench.ask(p[1:])[0] == 200 for p in asked)


def check_variants() -> None:
    """Each part by the limits of its variant, told apart by its name; the page says whose."""
    for product, shift in [("A", 0), ("B", 3)]:
        pathlib.Path(product).mkdir()
        for i in range(25):
            pathlib.Path(f"{product}/{product}_{i}.csv").write_bytes(curve(shift + i / 100))
    run("learn", "variants.limes", "A", "B", "--factor", "4", "--variant", "product",
        "--variant-pattern", "{product}_{serial}.csv")
    now = time.localtime()
    bench = Bench("variants.limes", "--port", "0", "--shifts", f"{now.tm_hour}:00")
    for name, shift, verdict, limit in [("A_x", 0, "OK", "product=A"), ("A_y", 3, "NOK", "product=A"),
                                        ("B_x", 3, "OK", "product=B"), ("C_x", 0, "not judged", ""),
                                        ("plain", 0, "not judged", "")]:
        judged = bench.ask(f"parts?name={name}.csv", curve(shift))[1]
        assert judged["verdict"] == verdict, judged
        assert judged["parts"][0].get("limit_of", "") == limit, judged
        last = bench.ask("state")[1]["last"]
        assert (last["limit_of"], len(last["plots"])) == (limit, 1 if limit else 0), last
    assert "does not fit" in last["reason"], last
    contradicted = bench.ask("parts?name=A_z.csv&variant=product%3DB", curve(0))[1]
    assert "by its file" in contradicted["parts"][0]["reason"], contradicted
    assert {side["variant"] for side in bench.ask("limits")[1]} == {"product=A", "product=B"}
    shifts = bench.ask("state")[1]["shifts"]
    assert sum(shift["ok"] for shift in shifts) == 2 and shifts[-1]["begins"] % 3600 == 0, shifts
    bench.end()


def check_strangers(bench: Bench) -> None:
    """Foreign pages and names, and pages that would change something."""
    for path, body, headers, expected in [
            ("state", None, {"Host": "bench.example"}, 403),
            ("state", None, {"Host": f"rebound.example:{bench.port}"}, 403),
            ("state", None, {"Origin": "http://evil.example"}, 403),
            ("state", None, {"Origin": "null"}, 403),
            ("state", None, {"Sec_Fetch_Site": "cross-site"}, 403),
            ("state", None, {"Origin": bench.url.rstrip("/")}, 200),
            ("parts?name=x.csv", curve(0), {"Origin": bench.url.rstrip("/")}, 403),
            ("held/accept", b'{"part":"x"}', {}, 403)]:
        code, answer = bench.ask(path, body, **headers)
        assert code == expected, (path, headers, code, answer)


def check_token(store: str) -> None:
    pathlib.Path("token").write_text("0123456789abcdef\n")
    refused = subprocess.run([PROGRAM, "serve", store, "--listen", "0.0.0.0", "--port", "0"],
                             capture_output=True, text=True, check=False)
    assert refused.returncode == 2 and "needs --token" in refused.stderr, refused
    bench = Bench(store, "--port", "0", "--token", "token")
    assert bench.ask("state")[0] == bench.ask("")[0] == 401
    assert bench.ask("state", Authorization="Bearer 0123456789abcdeX")[0] == 401
    assert bench.ask("state", Authorization="Bearer 0123456789abcdef")[0] == 200
    opener = urllib.request.build_opener(urllib.request.HTTPCookieProcessor())
    assert b"verdict" in opener.open(bench.url + "?token=0123456789abcdef").read()
    assert opener.open(bench.url + "state").status == 200
    bench.end()


def check_hostile(bench: Bench) -> None:
    """Half requests, endless headers, bodies that do not come, too large ones: parts are judged."""
    half = [b"", b"GET /par", b"POST /parts?name=x HTTP/1.1\r\nHost: 127.0.0.1:%d\r\n"
            b"Content-Length: 60000000\r\n\r\nabc" % bench.port, b"GET / HTTP/1.1\r\nA: b\r\n"]
    held = []
    for i in range(1000):
        held.append(socket.create_connection(("127.0.0.1", bench.port)))
        held[-1].sendall(half[i % len(half)])
    large = socket.create_connection(("127.0.0.1", bench.port))
    large.sendall(b"POST /parts?name=x HTTP/1.1\r\nHost: 127.0.0.1:%d\r\n"
                  b"Content-Length: 99999999999\r\n\r\n" % bench.port)
    endless = socket.create_connection(("127.0.0.1", bench.port))
    times = []
    for i in range(50):
        begun = time.monotonic()
        try:
            endless.sendall(b"X: " + b"y" * 4000 + b"\r\n")
        except OSError:
            pass
        code, judged = bench.ask(f"parts?name=h{i}.csv", curve(0.2))
        assert (code, judged["verdict"]) == (200, "OK"), judged
        times.append(time.monotonic() - begun)
    assert sorted(times)[-2] < 2, times
    assert b" 413 " in large.recv(100)
    for connection in held:
        connection.close()
    print(f"hostile clients: slowest part {max(times) * 1000:.0f} ms")


def check_page(store: str, bench: Bench) -> Bench:
    page = browser.Browser()
    try:
        page.screen(1280, 800, dark=False)
        page.open(bench.url)
        page.wait("document.title.includes('OK') || document.title.includes('NOT')")
        shown = "document.body.className + '|' + document.querySelector('#word').textContent + '|'" \
                " + document.querySelector('#part').textContent"
        for name, body, expected in [
                ("a.csv", curve(0.2), "OK|OK|a.csv"),
                ("b.csv", curve(0.2, spike=6), "NOK|NOK|b.csv"),
                ("c.csv", curve(0.2, points=20), "unjudged|NOT JUDGED|c.csv"),
                ("d.csv", b"nothing", "unjudged|NOT JUDGED|d.csv"),
                ("b2.csv", curve(0.1, spike=9), "NOK|NOK|b2.csv")]:
            bench.ask(f"parts?name={name}", body)
            page.wait(f"{shown} === {json.dumps(expected)}", 3)
        assert "at 120 Hz" in page.value("document.querySelector('#why').textContent")
        charts = int(page.value("typeof uPlot !== 'undefined'"))  # where no network was, none
        assert page.value("document.querySelectorAll('#plots canvas').length") == charts
        assert page.value("document.querySelector('#defects').textContent").count("120 Hz") == 1
        # Three metres away: the word alone is larger than 7 cm on a screen of half a metre.
        assert page.value("document.querySelector('#word').getBoundingClientRect().height") > 110
        check_decision(store, page)
        for name, width, height, dark, phone in [
                ("desktop", 1280, 800, False, False), ("desktop-dark", 1280, 800, True, False),
                ("phone", 390, 844, False, True), ("phone-dark", 390, 844, True, True)]:
            page.screen(width, height, dark, phone)
            time.sleep(0.3)
            wide = page.value("document.documentElement.scrollWidth")
            assert wide <= width, (name, wide)
            if PICTURES:
                page.picture(str(PICTURES / f"{name}.png"))
        page.open(bench.url)  # reloaded: the same
        page.wait(f"{shown} === 'NOK|NOK|b2.csv'", 5)
        port = str(bench.port)
        bench.end(kill=True)
        page.wait("document.querySelector('#word').textContent === 'NO CONNECTION'", 6)
        assert "NOK" not in page.value("document.title")
        if PICTURES:
            page.picture(str(PICTURES / "lost.png"))
        bench = Bench(store, "--port", port, "--allow-actions")
        page.wait(f"{shown} === 'NOK|NOK|b2.csv'", 15)  # of today, from the store
        return bench
    finally:
        page.close()


def check_decision(store: str, page: browser.Browser) -> None:
    pathlib.Path("odd.csv").write_bytes(curve(0.2, spike=2))
    run("learn", store, "odd.csv", "--guard")
    page.wait("document.querySelectorAll('#held li').length === 1", 5)
    page.value("document.querySelector('#held input').value = 'looked at it'")
    page.value("document.querySelector('#held button').click()")
    page.wait("document.querySelectorAll('#held li').length === 0", 5)
    last = json.loads(run("log", store, "--json").splitlines()[-1])
    assert (last["command"], last["reason"]) == ("accept", "looked at it"), last


def check_demo() -> None:
    """Within a minute: parts come in, a tooth breaks, a drift raises its alarm, a part that was held
    back is accepted."""
    begun = time.monotonic()
    demo = subprocess.Popen([PROGRAM, "demo", "--live", "--port", "0", "demo"], text=True,
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    page = browser.Browser()
    try:
        url = next(line for line in demo.stdout if "is served at" in line).split()[-1]
        page.screen(1280, 960, dark=False)
        page.open(url)
        page.wait("document.body.className === 'OK'", 30)
        page.wait("document.body.className === 'NOK'", 30)
        page.wait("!document.querySelector('#alarms').hidden", 60)
        page.wait("document.querySelectorAll('#held li').length === 1", 60)
        time.sleep(0.5)
        if PICTURES:
            page.picture(str(PICTURES / "bench.png"))
        page.wait("document.querySelectorAll('#held li').length === 0", 30)
        assert '"command":"accept"' in run("log", "demo/bench.limes", "--json")
        print(f"the demo took {time.monotonic() - begun:.0f} s")
    finally:
        page.close()
        demo.send_signal(signal.SIGINT)
        assert demo.wait(20) == 0


def main() -> int:
    files = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (min(files, 8192), files))
    with tempfile.TemporaryDirectory() as work:
        os.chdir(work)
        store = "bench.limes"
        learn(store)
        bench = Bench(store, "--port", "0")
        check_interface(bench)
        check_strangers(bench)
        check_hostile(bench)
        bench.end()
        check_token(store)
        check_variants()
        if browser.find() is None:
            print("skipped: no Chromium found (scripts/setup browser)")
            return 0
        pathlib.Path("in").mkdir()
        bench = Bench(store, "--port", "0", "--allow-actions", "--watch", "in", "--still", "0.1")
        bench = check_page(store, bench)
        bench.end()
        check_demo()
    return 0


if __name__ == "__main__":
    sys.exit(main())
