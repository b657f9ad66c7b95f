"""The page that "quarryctl scan --html" writes, as a browser shows it.

usage: pageTest.py WINE BIN WORK: the script that starts a Windows program, the folder of the built ones, and a folder
that is made anew.
"""

import base64
import json
import pathlib
import shutil
import subprocess
import sys
import unittest

from webDriver import Browser

WINE, BIN, WORK = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
# Wine's own programs under names of the test's: two with icons of several sizes, one with version information.
PROGRAMS = {
    "Füße & 'Co' 漢字.exe": 'windows/notepad.exe',
    'mines.exe': 'windows/system32/winemine.exe',
    'player.exe': 'Program Files/Windows Media Player/wmplayer.exe',
}


def quarryctl(*arguments):
    command = [WINE, '--prefix', 'tests', BIN / 'quarryctl.exe', *arguments]
    return subprocess.run(command, cwd=WORK, check=True, stdout=subprocess.PIPE, encoding='utf-8').stdout


def make_programs():
    programs = WORK / 'programs'
    programs.mkdir(parents=True)
    for name, source in PROGRAMS.items():
        shutil.copy(WINE.parents[1] / 'build/wine/tests/drive_c' / source, programs / name)
    (WORK / 'filters.ini').write_text(f'[All]\r\nRoot=Z:{programs}\r\nIncludes=*.exe\r\n'.replace('/', '\\'),
                                      encoding='utf-16')


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        shutil.rmtree(WORK, ignore_errors=True)
        make_programs()
        quarryctl('scan', '--ini', 'filters.ini', '--html', 'page.html')
        cls.applications = json.loads(quarryctl('scan', '--ini', 'filters.ini', '--json'))
        cls.browser = cls.enterClassContext(Browser(WORK / 'profile'))

    def setUp(self):
        self.browser.open((WORK / 'page.html').as_uri())
        self.browser.log()

    def open_many(self, count):
        """The same page with that many applications and folders left out; how long the list took to be there, in ms."""
        text = (WORK / 'page.html').read_text(encoding='utf-8')
        head, rest = text.split('id="data">', 1)
        data, tail = rest.split('</script>', 1)
        data = json.loads(data)
        names = [f'Program {number}' for number in range(count)]
        data['applications'] = [data['applications'][number % 3] | {'productName': name, 'companyName': f'Maker {number % 7}'}
                                for number, name in enumerate(names)]
        data['leftOut'] = [{'path': f'C:\\<left>\\{name}', 'reason': 'hidden'} for name in names]
        (WORK / 'many.html').write_text(head + 'id="data">' + json.dumps(data).replace('<', '\\u003c') + '</script>' + tail,
                                        encoding='utf-8')
        self.browser.open((WORK / 'many.html').as_uri())
        return self.browser.run('return performance.now()')

    def shown(self):
        return self.browser.run('return [...document.querySelectorAll(".app")].filter((app) => app.checkVisibility())'
                                '.map((app) => app.querySelector("h2").textContent)')

    def name(self, application):
        return application['productName'] or application['fileName']

    def test_every_application_is_there_with_what_its_record_says(self):
        self.assertEqual({application['fileName'] for application in self.applications}, PROGRAMS.keys())
        texts = self.browser.run('return [...document.querySelectorAll(".app")].map((app) => app.innerText)')
        for application, text in zip(self.applications, texts, strict=True):
            for field in ('productVersion', 'companyName', 'path', 'targetPath'):
                self.assertIn(application[field], text)
            self.assertIn(self.name(application), text)

    def test_search_box_filters_by_every_word(self):
        everything = [self.name(application) for application in self.applications]
        self.assertEqual(self.shown(), everything)
        for typed, file_names in (('MINES', ['mines.exe']), ('.exe  & none', []), ('.exe FÜße &', ["Füße & 'Co' 漢字.exe"]),
                                  ('microsoft 12.', ['player.exe'])):
            self.browser.press('#search', '\ue009a\ue009\ue017' + typed)  # Control+A, Delete
            self.assertEqual(self.shown(), [self.name(application) for application in self.applications
                                            if application['fileName'] in file_names], typed)
            note = self.browser.run('return document.getElementById("nothing").checkVisibility()')
            self.assertEqual(note, not file_names)
        self.browser.press('#search', '\ue009a\ue009\ue017')
        self.assertEqual(self.shown(), everything)

    def test_natural_size_of_each_icon_is_that_of_its_record(self):
        images = self.browser.run('''
            document.querySelectorAll('details').forEach((details) => { details.open = true; });
            return new Promise((resolve) => setTimeout(resolve)).then(() => Promise.all(
                [...document.querySelectorAll('.app')].map((app) => Promise.all(
                    [...app.querySelectorAll('figure img')].map((image) => image.decode().then(() =>
                        ({ name: image.title, width: image.naturalWidth, height: image.naturalHeight })))))));''')
        records = [[{key: icon[key] for key in ('name', 'width', 'height')} for icon in application['icons']]
                   for application in self.applications]
        self.assertEqual(images, records)
        self.assertGreater(len(next(icons for icons in records if icons)), 1)

    def test_nothing_is_loaded_from_elsewhere_and_no_script_fails(self):
        loaded = self.browser.run('return performance.getEntriesByType("resource").map((entry) => entry.name)')
        self.assertEqual([name for name in loaded if not name.startswith('data:')], [])
        self.browser.press('body', '/')
        self.assertEqual(self.browser.run('return document.activeElement.id'), 'search')
        self.assertEqual(self.browser.log(), [])

    def test_keys_and_order_go_through_the_list(self):
        focused = 'return document.activeElement.querySelector("h2")?.textContent ?? document.activeElement.id'
        self.browser.press('#search', '\ue015\ue015')  # Down, Down
        self.assertEqual(self.browser.run(focused), self.shown()[1])
        self.browser.press('.app:focus', '\ue013\ue013')  # Up, Up
        self.assertEqual(self.browser.run(focused), 'search')
        for key in ('name', 'path', 'company', ''):
            self.browser.run('const order = document.getElementById("order"); order.value = arguments[0];'
                             'order.dispatchEvent(new Event("change"));', key)
            value = {'name': self.name, 'path': lambda app: app['path'], 'company': lambda app: app['companyName']}.get(key)
            expected = sorted(self.applications, key=lambda app: value(app).lower()) if value else self.applications
            self.assertEqual(self.shown(), [self.name(application) for application in expected], key)

    def test_five_thousand_applications_are_listed_and_found(self):
        times = [self.open_many(5000)]
        self.assertEqual(len(self.shown()), 5000)
        self.assertEqual(self.browser.run('return document.getElementById("leftOutTitle").textContent'), 'Not published: 5000')
        times.append(self.browser.run('const start = performance.now(); const search = document.getElementById("search");'
                                      'search.value = "<left> 4321"; search.dispatchEvent(new Event("input"));'
                                      'document.body.offsetHeight; return performance.now() - start'))
        self.assertEqual((self.shown(), self.browser.run('return document.getElementById("leftOutTitle").textContent')),
                         ([], 'Not published: 1'))
        print(f'5000 applications: list after {times[0]:.0f} ms, found after {times[1]:.0f} ms')

    def test_narrow_and_printed_pages_lose_nothing(self):
        for width, height in ((400, 800), (1280, 1000)):
            self.browser.resize(width, height)
            self.assertLessEqual(self.browser.run('return document.documentElement.scrollWidth'), width)
            (WORK / f'page{width}.png').write_bytes(base64.b64decode(self.browser.screenshot()))
        (WORK / 'page.pdf').write_bytes(base64.b64decode(self.browser.print()))

    def test_theme_button_changes_the_colours(self):
        colour = 'return getComputedStyle(document.body).backgroundColor'
        before = self.browser.run(colour)
        self.browser.run('document.getElementById("theme").click()')
        self.assertNotEqual(self.browser.run(colour), before)
        (WORK / 'page.png').write_bytes(base64.b64decode(self.browser.screenshot()))


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1], verbosity=2)
