"""What administrators ask of a host: its settings and filters, on a real registry."""

import json
import shutil
import subprocess
import sys
import unittest

from quarryctl import BUILD, WINDOWS, WINE, WORK, quarryctl

ORDINARY = r'SOFTWARE\Velkor, Inc.\Velkor Quarry'
POLICY = r'SOFTWARE\Policies\Velkor, Inc.\Velkor Quarry'
DRIVES = r'SOFTWARE\Policies\Microsoft\Windows NT\Terminal Services'


def quarryctl_json(*arguments):
    return json.loads(quarryctl(*arguments, '--json').stdout)


def import_file(name):
    done = subprocess.run([*WINE, 'regedit', '/S', name], cwd=WORK, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    assert done.returncode == 0, done.stderr


def import_reg(*lines):
    """Has the registry editor take lines of a registry file."""
    (WORK / 'test.reg').write_text('\r\n'.join(('Windows Registry Editor Version 5.00', '', *lines, '')), encoding='utf-16')
    import_file('test.reg')


def key(path):
    return rf'[HKEY_LOCAL_MACHINE\{path}]'


def text(name, value):
    escaped = value.replace('\\', r'\\').replace('"', r'\"')
    return f'"{name}"="{escaped}"'


def raw_text(name, value):
    """A REG_SZ in bytes, for line breaks."""
    return f'"{name}"=hex(1):' + ','.join(f'{byte:02x}' for byte in (value + '\0').encode('utf-16-le'))


def dword(name, value):
    return f'"{name}"=dword:{value:08x}'


def setUpModule():
    shutil.rmtree(WORK, ignore_errors=True)
    WORK.mkdir(parents=True)
    AdminTest.empty_registry()


class AdminTest(unittest.TestCase):
    def setUp(self):
        self.addCleanup(self.empty_registry)

    @staticmethod
    def empty_registry():
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


class Filters(AdminTest):
    def ini(self, name, *lines):
        (WORK / name).write_text('\r\n'.join((*lines, '')), encoding='utf-16')

    def texts(self, *arguments):
        """What counts of each filter in use."""
        return [(entry['name'], [root['root'] for root in entry['roots']], entry['includes'], entry['excludes'])
                for entry in quarryctl_json('filters', *arguments) if entry['used']]

    def test_filters_in_effect_and_left_out(self):
        built_in = quarryctl_json('filters')
        self.assertEqual([(entry['name'], entry['from'], len(entry['roots'])) for entry in built_in],
                         [('Standard', 'built-in', 2), ('Internet Explorer', 'built-in', 2)])
        import_reg(key(POLICY + r'\Filter1'), text('Root', r'%SystemRoot%\system32'), text('Includes', 'a*;b*'),
                   key(ORDINARY + r'\Filter1'), text('Root', 'C:\\hidden'), text('Name', 'Füße'), text('Excludes', 'c'),
                   key(ORDINARY + r'\Filter3'), text('Root', 'C:\\gone;C:\\'), text('Includes', r'x\*; y'), dword('Name', 1),
                   key(ORDINARY + r'\Filter5'), text('Name', 'None'),
                   key(ORDINARY + r'\Filter9'), text('Root', 'C:\\'), dword('Enabled', 0),
                   key(ORDINARY + r'\Filter10'), text('Root', 'C:\\'))
        filters = {entry['place']: entry for entry in quarryctl_json('filters')}
        self.assertEqual(list(filters), ['Filter1', 'Filter3', 'Filter5', 'Filter9'])
        self.assertEqual(filters['Filter1'], {
            'name': 'Füße', 'from': 'registry', 'place': 'Filter1', 'used': True, 'includes': ['a*', 'b*'], 'excludes': ['c'],
            'roots': [{'root': r'%SystemRoot%\system32', 'expanded': r'C:\windows\system32', 'exists': True}], 'problems': []})
        for place, used, problems in (('Filter3', True, ['Wrong registry type 4', 'one filter has one Root', 'matches nothing',
                                                        'begins or ends with a blank']),
                                      ('Filter5', False, ['left out: it has no Root']),
                                      ('Filter9', False, ['left out: Enabled is 0'])):
            self.assertEqual(filters[place]['used'], used)
            self.assertEqual(len(filters[place]['problems']), len(problems))
            for problem in problems:
                self.assertIn(problem, ''.join(filters[place]['problems']))
        shown = quarryctl('filters')
        self.assertEqual(shown.returncode, 1)
        self.assertIn('Füße (Filter1)\n  root      %SystemRoot%\\system32 = C:\\windows\\system32\n', shown.stdout)

    def test_registry_that_publishes_nothing(self):
        import_reg(key(ORDINARY + r'\Filter2'), text('Includes', '*'))
        self.assertEqual([(entry['place'], entry['used']) for entry in quarryctl_json('filters')],
                         [('Filter2', False), ('', True)])
        self.assertIn('nothing, since no definition has a Root', quarryctl('filters').stdout)

    def test_check_says_what_is_wrong_in_a_file(self):
        self.ini('good.ini', '[A]', r'Root=C:\windows', 'Includes=*.exe', '; a comment', '[B]', r'root=C:\windows')
        good = quarryctl('filters', 'check', 'good.ini')
        self.assertEqual((good.returncode, good.stdout.endswith('good.ini: 2 filters, nothing to report\n')), (0, True))
        self.ini('bad.ini', '[A]', r'Root=C:\windows', 'Include=*.exe', 'Includes=' + 'x' * 2047, '[a]', r'Root=C:\gone', '[C]',
                 'Root=%none%', '[D]')
        bad = quarryctl('filters', 'check', 'bad.ini')
        self.assertEqual([line.split('bad.ini: ')[1] for line in bad.stdout.splitlines()],
                         ['[A] "Include" is ignored, a filter has Root, Includes and Excludes',
                          '[A] Includes is too long and counts as absent',
                          '[a] a section of this name stands above: that one is taken once more',
                          '[C] there is no folder "%none%": a variable in it is not set, or it gets too long',
                          '[D] has no Root: nothing is found'])
        self.assertEqual(bad.returncode, 1)
        (WORK / 'utf8.ini').write_text('[Ü]\nRoot=C:\\\n', encoding='utf-8')
        self.assertIn('seems to be UTF-8', quarryctl('filters', 'check', 'utf8.ini').stdout)

    def test_files_that_cannot_hold_filters(self):
        with open(WORK / 'large.ini', 'wb') as large:
            large.truncate(100 << 20)
        (WORK / 'text.ini').write_text('Root=C:\\\n')
        self.ini('many.ini', *(f'[Section{number}]' for number in range(300)))
        self.ini('ten.ini', *(f'[S{number}]\r\nRoot=C:\\' for number in range(10)))
        (WORK / 'folder').mkdir()
        for name, reason in (('missing.ini', 'error 2'), ('large.ini', '104857600 bytes'), ('text.ini', 'it has no sections'),
                             ('many.ini', 'too long together'), ('folder', 'cannot be read'), ('ten.ini', 'the registry takes 9')):
            for arguments in (('check', name), ('import', name, '--reg', 'none.reg')):
                if name == 'ten.ini' and arguments[0] == 'check':
                    continue
                with self.subTest(arguments):
                    done = quarryctl('filters', *arguments)
                    self.assertEqual((done.returncode, done.stdout), (1, ''))
                    self.assertIn(reason, done.stderr)
        self.assertEqual(quarryctl('filters', '--ini', 'large.ini').returncode, 1)
        self.assertFalse((WORK / 'none.reg').exists())

    def test_round_trips_lose_nothing(self):
        values = [('Office', r'%ProgramFiles%\Office', '*.exe', '*setup*;*update*'),
                  (r'Q "x" \ =;ü漢', ' C:\\blank ', ';;a;', ' b'), ('Quoted', '"C:\\x"', "'y'", '*'), ('Rootless', '', 'x', '')]
        lines = []
        for number, (name, root, includes, excludes) in enumerate(values):
            lines += [key(rf'{ORDINARY}\Filter{2 * number + 1}'), text('Name', name), text('Root', root),
                      text('Includes', includes), text('Excludes', excludes)]
        import_reg(*lines, key(ORDINARY + r'\Filter9'), text('Root', 'C:\\off'), dword('Enabled', 0))
        expected = self.texts()
        exported = quarryctl('filters', 'export', 'out.ini')
        self.assertEqual((exported.returncode, exported.stdout.splitlines()[0]), (0, '4 filters'))
        self.assertIn('Filter9 is not used by scans', exported.stderr)
        self.assertEqual(self.texts('--ini', 'out.ini')[:3], expected)
        self.assertIn('; Root=C:\\off', (WORK / 'out.ini').read_text(encoding='utf-16'))

        # A trial becomes a policy, over what was there.
        import_reg(f'[-HKEY_LOCAL_MACHINE\\{ORDINARY}]', key(POLICY + r'\Filter8'), text('Root', 'C:\\old'),
                   key(POLICY + r'\Filter1'), dword('Enabled', 0))
        self.assertEqual(quarryctl('filters', 'import', 'out.ini', '--reg', 'out.reg').returncode, 0)
        import_file('out.reg')
        self.assertEqual(self.texts(), expected)
        again = [entry['place'] for entry in quarryctl_json('filters')]
        self.assertEqual(again, ['Filter1', 'Filter2', 'Filter3', 'Filter4'])

    def test_what_an_ini_file_cannot_carry_is_said_and_not_written(self):
        (WORK / 'out.ini').write_text('kept')
        planted = 'x\r\n[Planted]\r\nRoot=C:\\'
        for number, value, what in ((1, raw_text('Name', 'a\r\nb'), 'Filter1'), (1, text('Includes', 'x' * 2047), 'Filter1'),
                                    (1, text('Name', 'B'), 'Filter2'), (9, raw_text('Name', planted), 'what is not used')):
            with self.subTest(value[:20]):
                self.empty_registry()
                import_reg(key(ORDINARY + r'\Filter9'), text('Root', 'C:\\'), dword('Enabled', 0),
                           key(ORDINARY + r'\Filter1'), text('Root', 'C:\\'),
                           key(ORDINARY + r'\Filter2'), text('Root', 'C:\\windows'), text('Name', 'b'),
                           key(rf'{ORDINARY}\Filter{number}'), value)
                done = quarryctl('filters', 'export', 'out.ini')
                self.assertEqual(done.returncode, 1)
                self.assertIn(f'nothing was written: an INI file cannot carry a text of {what} ', done.stderr)
        self.assertFalse((WORK / 'out.ini.partial').exists())
        self.assertEqual((WORK / 'out.ini').read_text(), 'kept')


class Doctor(AdminTest):
    def checks(self):
        done = quarryctl('doctor', '--json')
        checks = {check.pop('check'): check for check in json.loads(done.stdout)}
        failed = any(check['status'] == 'error' for check in checks.values())
        self.assertEqual(done.returncode, int(failed))
        return checks

    def expect(self, checks, name, status, text):
        self.assertEqual(checks[name]['status'], status, checks[name])
        self.assertIn(text, checks[name]['text'])
        self.assertEqual(status == 'ok', not checks[name]['remedy'])

    def test_sound_host(self):
        checks = self.checks()
        self.assertEqual(list(checks), ['rights', 'library', 'shortcuts', 'icon folder', 'file types', 'settings',
                                        'drive policy', 'filters', 'filter keys', 'window rules', 'other processes'])
        self.assertEqual({check['status'] for check in checks.values()}, {'ok'}, checks)

    def test_faults(self):
        rules = WINDOWS.parent / 'ProgramData/Velkor/KilnServer'
        shutil.rmtree(rules, ignore_errors=True)
        self.addCleanup(shutil.rmtree, rules)
        (rules / 'Seamly Filters').mkdir(parents=True)
        (rules / 'Seamly Filters/admin.txt').write_text('BeginRule\nnonsense\nEndRule\n')
        (WORK / 'file').write_text('')
        import_reg(key(POLICY), text('WritableFolders', 'Skip'), text('IconCacheDir', f'Z:{WORK}/file'.replace('/', '\\')),
                   key(POLICY + r'\Filter1'), text('Includes', '*'), key(DRIVES), dword('fDisableCdm', 1))
        checks = self.checks()
        for name, status, seen in (('settings', 'warning', 'WritableFolders: "Skip"'), ('filters', 'error', 'nothing is published'),
                                   ('drive policy', 'warning', 'fDisableCdm'), ('window rules', 'warning', "bad token or whitespace 'nonsense'"),
                                   ('icon folder', 'warning', 'Invalid PNG cache folder')):
            with self.subTest(name):
                self.expect(checks, name, status, seen)

    def test_library_that_is_missing_and_one_of_another_version(self):
        other = WORK / 'other'
        other.mkdir()
        tool = shutil.copy(BUILD / 'bin/quarryctl.exe', other)
        alone = subprocess.run([*WINE, tool, 'doctor'], stdout=subprocess.PIPE, stderr=subprocess.PIPE, encoding='utf-8')
        self.assertEqual(alone.returncode, 1)
        self.assertRegex(alone.stdout, r'\nerror +library +.*quarry.dll cannot be used; put ')
        self.assertRegex(alone.stdout, r'\nok +settings ')
        version = self.checks()['library']['text'].split(',')[0]
        library = (BUILD / 'bin/quarry.dll').read_bytes()
        self.assertRegex(version, r'^\d\.\d\.\d\.\d$')
        (other / 'quarry.dll').write_bytes(library.replace(version.encode('utf-16-le'), '9.9.0.0'.encode('utf-16-le')))
        with subprocess.Popen([*WINE, tool, 'windows', '--watch'], stdout=subprocess.PIPE) as process:
            process.stdout.readline()  # the library is loaded
            try:
                self.expect(self.checks(), 'other processes', 'warning', 'quarryctl.exe has loaded 9.9.0.0, ')
            finally:
                process.terminate()


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
