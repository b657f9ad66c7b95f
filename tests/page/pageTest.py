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

    def test_theme_button_changes_the_colours(self):
        colour = 'return getComputedStyle(document.body).backgroundColor'
        before = self.browser.run(colour)
        self.browser.run('document.getElementById("theme").click()')
        self.assertNotEqual(self.browser.run(colour), before)
        (WORK / 'page.png').write_bytes(base64.b64decode(self.browser.screenshot()))


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1], verbosity=2)
