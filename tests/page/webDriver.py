"""Headless Chromium by the W3C WebDriver protocol, as far as a test of a local page needs it."""

import json
import re
import subprocess
import urllib.request

ELEMENT = 'element-6066-11e4-a52e-4f735466cecf'  # the protocol's name for a reference to an element
CHROMIUM_OPTIONS = (
    '--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
    '--disable-background-networking', '--disable-component-update', '--disable-sync', '--disable-dev-shm-usage',
    '--window-size=1280,900',
)


class Browser:
    """A driver of its own and one window; both end with the "with" block."""

    def __init__(self, profile):
        self._driver = subprocess.Popen(['chromedriver', '--port=0'], stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT, text=True)
        self._address = f'http://127.0.0.1:{self._port()}/session'
        options = {'args': [*CHROMIUM_OPTIONS, f'--user-data-dir={profile}']}
        answer = self._post('', {'capabilities': {'alwaysMatch': {'goog:chromeOptions': options,
                                                                  'goog:loggingPrefs': {'browser': 'ALL'}}}})
        self._session = '/' + answer['sessionId']

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._call('DELETE', self._session)
        self._driver.terminate()
        self._driver.wait(timeout=20)
        self._driver.stdout.close()

    def open(self, url):
        self._post(f'{self._session}/url', {'url': url})

    def run(self, script, *arguments):
        """The value of the script, which may be a promise."""
        return self._post(f'{self._session}/execute/sync', {'script': script, 'args': arguments})

    def press(self, selector, keys):
        """Types into the element that the selector finds."""
        found = self._post(f'{self._session}/element', {'using': 'css selector', 'value': selector})
        self._post(f'{self._session}/element/{found[ELEMENT]}/value', {'text': keys})

    def log(self):
        """What the page's console has shown since the last call: errors of scripts, requests that were refused."""
        return [entry['message'] for entry in self._post(f'{self._session}/se/log', {'type': 'browser'})]

    def resize(self, width, height):
        self._post(f'{self._session}/window/rect', {'width': width, 'height': height})

    def print(self):
        """A PDF, in Base64."""
        return self._post(f'{self._session}/print', {})

    def screenshot(self):
        """A PNG of the window, in base64."""
        return self._call('GET', f'{self._session}/screenshot')

    def _port(self):
        for line in self._driver.stdout:
            if match := re.search(r'started successfully on port (\d+)', line):
                return match[1]
        raise RuntimeError('chromedriver does not start')

    def _post(self, path, body):
        return self._call('POST', path, json.dumps(body).encode())

    def _call(self, method, path, body=None):
        request = urllib.request.Request(self._address + path, body, {'Content-Type': 'application/json'},
                                         method=method)
        with urllib.request.urlopen(request, timeout=60) as response:
            return json.load(response)['value']
