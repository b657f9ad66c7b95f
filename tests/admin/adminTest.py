"""What administrators ask quarryctl of a host: its settings and filters, on a real registry.

usage: adminTest.py SOURCE BIN WORK [TEST...]: the tree, the folder of the built programs, and a folder that is made anew.
"""

import json
import pathlib
import shutil
import subprocess
import sys
import unittest

SOURCE, BIN, WORK = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
WINE = SOURCE / 'scripts/wine.sh'
ORDINARY = r'SOFTWARE\Velkor, Inc.\Velkor Quarry'
POLICY = r'SOFTWARE\Policies\Velkor, Inc.\Velkor Quarry'
DRIVES = r'SOFTWARE\Policies\Microsoft\Windows NT\Terminal Services'


def wine(*arguments):
    return subprocess.run([WINE, '--prefix', 'tests', *arguments], cwd=WORK, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, encoding='utf-8')


def quarryctl(*arguments):
    return wine(BIN / 'quarryctl.exe', *arguments)


def quarryctl_json(*arguments):
    return json.loads(quarryctl(*arguments, '--json').stdout)


def import_reg(*lines):
    """Has the registry editor take lines of a registry file."""
    (WORK / 'test.reg').write_text('\r\n'.join(('Windows Registry Editor Version 5.00', '', *lines, '')), encoding='utf-16')
    done = wine('regedit', '/S', 'test.reg')
    assert done.returncode == 0, done.stderr


def key(path):
    return rf'[HKEY_LOCAL_MACHINE\{path}]'


def text(name, value):
    escaped = value.replace('\\', r'\\').replace('"', r'\"')
    return f'"{name}"="{escaped}"'


def dword(name, value):
    return f'"{name}"=dword:{value:08x}'


class AdminTest(unittest.TestCase):
    def setUp(self):
        shutil.rmtree(WORK, ignore_errors=True)
        WORK.mkdir(parents=True)
        self.empty_registry()
        self.addCleanup(self.empty_registry)

    def empty_registry(self):
        import_reg(*(f'[-HKEY_LOCAL_MACHINE\\{path}]' for path in (ORDINARY, POLICY, DRIVES)))


class Settings(AdminTest):
    def settings(self):
        return {entry.pop('name'): entry for entry in quarryctl_json('settings')}

    def test_defaults(self):
        settings = self.settings()
        values = {name: entry['value'] for name, entry in settings.items()}
        self.assertEqual(values, {
            'IconCacheDir': '', 'ScanHidden': False, 'ScanReparsePoints': False, 'MaxScanDepth': 20, 'WritableFolders': 'warn',
            'VerboseWindowLogging': False, 'RemoteFileOpenTimeoutMs': 15000, 'fDisableCdm': 0})
        self.assertEqual({entry['from'] for entry in settings.values()}, {'default'})
        self.assertEqual(quarryctl('settings').returncode, 0)

    def test_value_source_hidden_value_and_problem(self):
        import_reg(key(POLICY), text('ScanHidden', '0'), dword('ScanReparsePoints', 1), text('WritableFolders', 'skip'),
                   key(POLICY + r'\Config'), dword('RemoteFileOpenTimeoutMs', 30000),
                   key(ORDINARY), text('ScanHidden', 'TRUE'), text('ScanReparsePoints', 'True'), text('IconCacheDir', 'C:\\Füße'),
                   text('VerboseWindowLogging', 'on'), key(DRIVES), dword('fDisableCdm', 1))
        settings = self.settings()
        for name, value, source, hidden, problem in (
                ('ScanHidden', False, 'policy', 'TRUE', None),
                ('ScanReparsePoints', True, 'ordinary', None, r'Wrong registry type 4 (expected 1) for ' + POLICY),
                ('WritableFolders', 'skip', 'policy', None, None),
                ('IconCacheDir', 'C:\\Füße', 'ordinary', None, None),
                ('VerboseWindowLogging', False, 'ordinary', None, '"on" is none of 0, 1, false, true'),
                ('RemoteFileOpenTimeoutMs', 30000, 'policy', None, None),
                ('fDisableCdm', 1, 'policy', None, None)):
            with self.subTest(name):
                entry = settings[name]
                self.assertEqual((entry['value'], entry['from'], entry['hidden']), (value, source, hidden))
                self.assertEqual(len(entry['problems']), 1 if problem else 0)
                self.assertIn(problem or '', ''.join(entry['problems']))
        shown = quarryctl('settings')
        self.assertEqual(shown.returncode, 1)
        self.assertRegex(shown.stdout, r'\nScanHidden +policy +"TRUE" +off\n')
        self.assertIn('\n\nScanReparsePoints: Wrong registry type', shown.stdout)

    def test_texts_that_are_read_as_something_else(self):
        for name, written, value, problem in (
                ('MaxScanDepth', '5abc', 5, 'is read as 5'), ('MaxScanDepth', 'abc', 0, 'nothing is published'),
                ('MaxScanDepth', '-3', 0, 'nothing is published'), ('MaxScanDepth', '1000', 256, 'read as 256'),
                ('WritableFolders', 'Skip', 'stop', 'taken for stop'), ('WritableFolders', '', 'warn', None)):
            with self.subTest(written):
                import_reg(key(ORDINARY), text(name, written))
                entry = self.settings()[name]
                self.assertEqual((entry['value'], entry['text']), (value, written))
                self.assertIn(problem or '', ''.join(entry['problems']))
                self.assertEqual(bool(problem), bool(entry['problems']))


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1] + sys.argv[4:], verbosity=2)
