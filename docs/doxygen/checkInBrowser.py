#!/usr/bin/env python3
"""checkInBrowser.py HTML_FOLDER [PICTURE_FOLDER]: opens each page of the manual in Chromium without a
window. Fails on errors in the console, on a page that is wider than a phone, on text that is hard to
read in light or dark colours, and when the search finds nothing. PICTURE_FOLDER gets pictures."""

import base64
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

PHONE = {"width": 390, "height": 844, "deviceScaleFactor": 2, "mobile": True}
DESKTOP = {"width": 1280, "height": 900, "deviceScaleFactor": 1, "mobile": False}
SCHEMES = ("light", "dark")

# What is too wide, and texts whose contrast with what is behind them is below 4.5 to 1.
LOOK_AT_PAGE = """(() => {
    const found = [];
    const root = document.scrollingElement;
    if (root.scrollWidth > root.clientWidth + 1)
        found.push(`is ${root.scrollWidth} wide, the window ${root.clientWidth}`);
    const parts = text => (text.match(/[0-9.]+/g) || []).map(Number);
    const luminance = color => color.slice(0, 3).map(part => part / 255)
        .map(part => part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4)
        .reduce((sum, part, index) => sum + part * [0.2126, 0.7152, 0.0722][index], 0);
    const behind = element => {
        for (; element; element = element.parentElement) {
            const color = parts(getComputedStyle(element).backgroundColor);
            if (color.length === 3 || color[3] > 0.5)
                return color;
        }
        return [255, 255, 255];
    };
    const seen = new Set();
    const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    while (walker.nextNode()) {
        const element = walker.currentNode.parentElement;
        if (!walker.currentNode.data.trim() || seen.has(element) || !element.checkVisibility())
            continue;
        seen.add(element);
        const levels = [parts(getComputedStyle(element).color), behind(element)].map(luminance);
        const contrast = (Math.max(...levels) + 0.05) / (Math.min(...levels) + 0.05);
        if (contrast < 4.5)
            found.push(`contrast ${contrast.toFixed(1)}: <${element.tagName.toLowerCase()} class="`
                + `${element.className}"> ${walker.currentNode.data.trim().slice(0, 40)}`);
    }
    return found.slice(0, 5);
})()"""


class Browser:
    """Chromium, spoken to by its protocol over a pair of pipes."""

    def __init__(self, profile):
        program = next(filter(None, map(shutil.which, ("chromium", "chromium-browser", "google-chrome"))), None)
        if not program:
            sys.exit("checkInBrowser.py: Chromium is not installed")
        read_end, self._to = os.pipe()
        self._from, write_end = os.pipe()

        def take_pipes():  # as descriptors 3 and 4, which are where Chromium looks for them
            ends = os.dup(read_end), os.dup(write_end)
            os.dup2(ends[0], 3)
            os.dup2(ends[1], 4)

        self._process = subprocess.Popen(
            [program, "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
             "--hide-scrollbars", "--remote-debugging-pipe", f"--user-data-dir={profile}", "about:blank"],
            close_fds=False, preexec_fn=take_pipes, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(read_end)
        os.close(write_end)
        self._received = b""
        self._last_id = 0
        self._session = None
        self.events = []
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self._session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(domain + ".enable")

    def close(self):
        self._process.terminate()
        self._process.wait()

    def _next_message(self):
        while b"\0" not in self._received:
            received = os.read(self._from, 1 << 20)
            if not received:
                sys.exit("checkInBrowser.py: Chromium has ended")
            self._received += received
        message, self._received = self._received.split(b"\0", 1)
        return json.loads(message)

    def call(self, method, **parameters):
        self._last_id += 1
        message = {"id": self._last_id, "method": method, "params": parameters}
        if self._session:
            message["sessionId"] = self._session
        os.write(self._to, json.dumps(message).encode() + b"\0")
        while (answer := self._next_message()).get("id") != self._last_id:
            self.events.append(answer)
        if "error" in answer:
            raise RuntimeError(f"{method}: {answer['error']}")
        return answer["result"]

    def evaluate(self, expression):
        answer = self.call("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in answer:
            raise RuntimeError(answer["exceptionDetails"])
        return answer["result"].get("value")

    def open(self, path):
        self.events.clear()
        self.call("Page.navigate", url=path.as_uri())
        while not any(event.get("method") == "Page.loadEventFired" for event in self.events):
            self.events.append(self._next_message())

    def show_as(self, device, scheme):
        self.call("Emulation.setDeviceMetricsOverride", **device)
        self.call("Emulation.setEmulatedMedia",
                  features=[{"name": "prefers-color-scheme", "value": scheme}])

    def complaints(self):
        """What the console and the network have told since the page was opened."""
        for event in self.events:
            parameters = event.get("params", {})
            if event.get("method") == "Runtime.exceptionThrown":
                yield "exception: " + json.dumps(parameters["exceptionDetails"])[:300]
            elif event.get("method") == "Runtime.consoleAPICalled" and parameters["type"] in ("error", "warning"):
                yield "console: " + json.dumps(parameters["args"])[:300]
            elif event.get("method") == "Log.entryAdded" and parameters["entry"]["level"] == "error":
                yield "log: " + parameters["entry"]["text"]
            elif event.get("method") == "Network.loadingFailed" and not parameters.get("canceled"):
                yield "not loaded: " + parameters["errorText"]

    def picture(self, path):
        data = self.call("Page.captureScreenshot", format="png")["data"]
        path.write_bytes(base64.b64decode(data))


def results_shown(browser):
    """The texts of the results, which older versions of Doxygen have in a frame."""
    tree = browser.call("Page.getFrameTree")["frameTree"]
    texts = []
    for frame in [tree, *tree.get("childFrames", [])]:
        world = browser.call("Page.createIsolatedWorld", frameId=frame["frame"]["id"])
        answer = browser.call(
            "Runtime.evaluate", contextId=world["executionContextId"], returnByValue=True,
            expression="[...document.querySelectorAll('.SRResult')]"
                       ".filter(result => result.checkVisibility()).map(result => result.innerText)")
        texts += answer["result"]["value"]
    return texts


def search(browser, word):
    """Types a word into the search box; the results that are shown within ten seconds."""
    texts = []
    for _ in range(100):
        if browser.evaluate("Boolean(document.getElementById('MSearchField'))"):
            break
        time.sleep(0.1)
    browser.evaluate("document.getElementById('MSearchField').focus()")
    for letter in word:
        browser.call("Input.dispatchKeyEvent", type="keyDown", text=letter, key=letter)
        browser.call("Input.dispatchKeyEvent", type="keyUp", key=letter)
    for _ in range(100):
        try:
            texts = [text for text in results_shown(browser) if word.lower() in text.lower()]
        except RuntimeError:  # the frame of the results was replaced meanwhile
            texts = []
        if texts:
            break
        time.sleep(0.1)
    return texts


def check(browser, folder):
    for path in sorted(folder.glob("*.html")):
        browser.show_as(PHONE, SCHEMES[0])
        browser.open(path)
        for scheme in SCHEMES:
            browser.show_as(PHONE, scheme)
            for fault in browser.evaluate(LOOK_AT_PAGE):
                yield f"{path.name}: {scheme}: {fault}"
        for complaint in browser.complaints():
            yield f"{path.name}: {complaint}"
    browser.show_as(DESKTOP, SCHEMES[0])
    browser.open(folder / "index.html")
    if len(search(browser, "MultiUser")) < 3:
        yield "index.html: the search finds nothing"
    for scheme in SCHEMES:
        browser.show_as(DESKTOP, scheme)
        for fault in browser.evaluate(LOOK_AT_PAGE):
            yield f"search: {scheme}: {fault}"


def take_pictures(browser, folder, pictures):
    pictures.mkdir(parents=True, exist_ok=True)
    pages = {"main": "index.html", "class": "classkel_1_1AsyncFile.html",
             "reader": "classkel_1_1MultiUserReader.html", "classes": "annotated.html",
             "choosing": "md_docs_choosing_a_class.html", "performance": "md_docs_performance.html",
             "example": "producer-and-readers_2main_8cpp-example.html"}
    for name, page in pages.items():
        for device_name, device in (("phone", PHONE), ("desktop", DESKTOP)):
            for scheme in SCHEMES:
                browser.show_as(device, scheme)
                browser.open(folder / page)
                browser.picture(pictures / f"{name}-{device_name}-{scheme}.png")
    search(browser, "MultiUser")
    browser.picture(pictures / "search.png")


def main():
    folder = pathlib.Path(sys.argv[1]).resolve()
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as profile:
        browser = Browser(profile)
        try:
            faults = list(check(browser, folder))
            if len(sys.argv) > 2:
                take_pictures(browser, folder, pathlib.Path(sys.argv[2]))
        finally:
            browser.close()
    for fault in faults:
        print(fault, file=sys.stderr)
    return bool(faults)


if __name__ == "__main__":
    sys.exit(main())
