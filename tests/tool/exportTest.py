"""What is handed over to other software: the files are read by those who they are for."""

import ctypes
import re
import struct
import subprocess
import sys
import unittest

from quarryctl import WINE, WORK, make_work_folder, quarryctl

KEY = (r'HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows NT\CurrentVersion\Terminal Server\TSAppAllowList'
       r'\Applications')
ODD = ['Füße 漢 & Co', 'con.x', '!....', 'a%b;c\'d^e=f,g', 'RTL \u202e gpj', '😀😀', 'x' * 200, 'C++', 'C--']
ARGUMENTS = '/e "a b" C:\\x'
SHORTCUT = f'''Set link = CreateObject("WScript.Shell").CreateShortcut("programs\\Edit.lnk")
link.TargetPath = "C:\\windows\\regedit.exe"
link.Arguments = "{ARGUMENTS.replace('"', '""')}"
link.Save
'''
# FreeRDP 2, settings.h.
SERVER_PORT, SERVER_NAME, GATEWAY, REMOTE_APP, APP_NAME, APP_PROGRAM, APP_ICON = 19, 20, 1986, 2112, 2113, 2115, 2114


class Rdp:
    """An .rdp file as FreeRDP takes it."""
    def __init__(self, path):
        core, client = (ctypes.CDLL(f'lib{name}.so.2', ctypes.RTLD_GLOBAL) for name in ('freerdp2', 'freerdp-client2'))
        core.freerdp_settings_new.restype = client.freerdp_client_rdp_file_new.restype = ctypes.c_void_p
        core.freerdp_settings_get_string.restype = ctypes.c_char_p
        self.core, self.settings = core, ctypes.c_void_p(core.freerdp_settings_new(0))
        file = ctypes.c_void_p(client.freerdp_client_rdp_file_new())
        self.is_read = bool(client.freerdp_client_parse_rdp_file(file, str(path).encode()) and
                            client.freerdp_client_populate_settings_from_rdp_file(file, self.settings))
        client.freerdp_client_rdp_file_free(file)

    def text(self, setting):
        return (self.core.freerdp_settings_get_string(self.settings, setting) or b'').decode()

    def number(self, setting, kind='bool'):
        return getattr(self.core, f'freerdp_settings_get_{kind}')(self.settings, setting)


def export(folder, *options, host='127.0.0.1:1'):
    return quarryctl('export', 'remoteapp', '--ini', 'filters.ini', '--host', host, folder, *options)


class RemoteApp(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        make_work_folder()
        for name in ODD:
            (WORK / f'programs/{name}.bat').write_text('')
        for name in ('a', 'b'):
            (WORK / f'programs/{name}').mkdir()
            (WORK / f'programs/{name}/Same.bat').write_text('')
        (WORK / 'link.vbs').write_text(SHORTCUT)
        subprocess.run([*WINE, 'cscript', 'link.vbs'], cwd=WORK, check=True, stdout=subprocess.DEVNULL)
        (WORK / 'filters.ini').write_text((WORK / 'filters.ini').read_text(encoding='utf-16').replace('*.exe', '*'),
                                          encoding='utf-16')
        cls.done = export('out')
        cls.files = {path.stem: path for path in (WORK / 'out').glob('*.rdp')}

    def test_freerdp_reads_each_file(self):
        self.assertEqual(self.done.returncode, 0, self.done.stderr)
        self.assertEqual(len(self.files), 3 + len(ODD) + 3)
        names = set()
        for alias, path in self.files.items():
            with self.subTest(alias):
                self.assertRegex(alias, r'^\w[\w-]*-[0-9a-f]{16}$')
                rdp = Rdp(path)
                self.assertTrue(rdp.is_read)
                self.assertTrue(rdp.number(REMOTE_APP))
                self.assertEqual((rdp.text(SERVER_NAME), rdp.number(SERVER_PORT, 'uint32')), ('127.0.0.1', 1))
                self.assertEqual(rdp.text(APP_PROGRAM), f'||{alias}')
                self.assertEqual(rdp.text(APP_ICON), f'{alias}.ico' if path.with_suffix('.ico').exists() else '')
                names.add(rdp.text(APP_NAME))
        self.assertLessEqual({*ODD, 'Same', 'Edit'}, names)
        # It gets as far as to the port, where nobody answers.
        tried = subprocess.run(['xvfb-run', '-a', 'xfreerdp', path, '/u:user', '/p:word'], stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, encoding='utf-8', timeout=60).stdout
        self.assertIn('ERRCONNECT_CONNECT', tried)
        self.assertNotRegex(tried, '(?i)parse|unknown|invalid')

    def test_registry_editor_takes_the_list(self):
        applications = self.applications('out')
        self.assertEqual(applications.keys(), self.files.keys())
        edit = next(values for alias, values in applications.items() if alias.startswith('Edit-'))
        self.assertEqual(edit, {'Name': 'Edit', 'Path': r'C:\windows\regedit.exe', 'IconPath': r'C:\windows\regedit.exe',
                                'IconIndex': '0x0', 'CommandLineSetting': '0x2', 'RequiredCommandLine': ARGUMENTS})
        others = [values for alias, values in applications.items() if not alias.startswith('Edit-')]
        self.assertEqual({values.get('RequiredCommandLine') for values in others}, {''})
        self.assertNotIn('0x2', {values['CommandLineSetting'] for values in others})
        self.assertLessEqual(set(ODD), {values['Name'] for values in others})

    def applications(self, folder):
        """What the registry has after the import, by aliases."""
        def run(*command):
            return subprocess.run([*WINE, *command], cwd=WORK, stdout=subprocess.PIPE, encoding='utf-8')
        run('reg', 'delete', KEY, '/f')
        self.addCleanup(run, 'reg', 'delete', KEY, '/f')
        self.assertEqual(run('regedit', '/S', f'{folder}\\remoteapp.reg').returncode, 0)
        self.assertEqual(run('regedit', '/E', 'back.reg', KEY).returncode, 0)
        text = (WORK / 'back.reg').read_text(encoding='utf-16')
        result = {}
        for alias, body in re.findall(r'^\[.*\\Applications\\([^\]]+)\]\n((?:".*\n)*)', text, re.M):
            result[alias] = {name: hex(int(number, 16)) if number else re.sub(r'\\(.)', r'\1', value)
                             for name, value, number in re.findall(r'^"(\w+)"=(?:"(.*)"|dword:(.*))$', body, re.M)}
        return result

    def test_icons_hold_the_pictures(self):
        icons = sorted((WORK / 'out').glob('*.ico'))
        self.assertGreaterEqual(len(icons), 3)
        for path in icons:
            data = path.read_bytes()
            zero, kind, count = struct.unpack_from('<HHH', data)
            self.assertEqual((zero, kind, count > 0), (0, 1, True))
            end = 6 + 16 * count
            for index in range(count):
                width, height, _, _, planes, _, size, offset = struct.unpack_from('<BBBBHHII', data, 6 + 16 * index)
                self.assertEqual((planes, offset, data[offset:offset + 8]), (1, end, b'\x89PNG\r\n\x1a\n'))
                self.assertEqual(struct.unpack_from('>II', data, offset + 16), (width or 256, height or 256))
                end += size
            self.assertEqual(end, len(data))

    def test_nothing_is_overwritten_and_aliases_stay(self):
        mine = next(path for path in self.files.values() if path.stem.startswith('Same'))
        mine.write_text('mine')
        again = export('out')
        self.assertEqual((again.returncode, again.stdout, mine.read_text()), (1, '', 'mine'))
        self.assertIn('would be overwritten', again.stderr)
        self.assertEqual(export('out', '--force').returncode, 0)
        self.assertNotEqual(mine.read_bytes(), b'mine')
        part = export('part', '--filter', 'SAME.', '--gateway', 'gate')
        self.assertEqual(part.returncode, 0, part.stderr)
        aliases = {path.stem for path in (WORK / 'part').glob('*.rdp')}
        self.assertEqual(aliases, {alias for alias in self.files if alias.startswith('Same')})
        self.assertEqual(len(aliases), 2)
        self.assertEqual(Rdp(next((WORK / 'part').glob('*.rdp'))).text(GATEWAY), 'gate')
        self.assertEqual(list(WORK.glob('*/*.partial')), [])

    def test_refusals(self):
        (WORK / 'file').write_text('')
        for folder, options, host, status, complaint in (
                ('none', ('--filter', 'nothing has this'), 'host', 1, 'no application'),
                ('file', (), 'host', 1, 'cannot make the folder'), ('none', (), 'a\nb', 2, 'without blanks'),
                ('none', ('--gateway', ''), 'host', 2, 'without blanks')):
            done = export(folder, *options, host=host)
            self.assertEqual((done.returncode, done.stdout), (status, ''))
            self.assertIn(complaint, done.stderr)
        self.assertFalse((WORK / 'none').exists())


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1], verbosity=2)
