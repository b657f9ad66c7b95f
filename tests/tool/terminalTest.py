"""What the tool does on a terminal, and what it leaves for files and pipes."""

import os
import pty
import re
import select
import struct
import subprocess
import sys
import termios
import time
import unittest
from fcntl import ioctl

from quarryctl import COMMAND, WORK, make_work_folder, quarryctl, write_filters

SCAN = ('scan', '--ini', 'filters.ini')


class Terminal:
    """The tool on a terminal of its own."""

    def __init__(self, *arguments, columns=80, **environment):
        self.text = ''
        self.pid, self.file = pty.fork()
        if self.pid == 0:
            ioctl(0, termios.TIOCSWINSZ, struct.pack('HHHH', 25, columns, 0, 0))
            os.chdir(WORK)
            os.execve(COMMAND[0], [str(part) for part in [*COMMAND, *arguments]], os.environ | environment)

    def read_to(self, pattern, seconds=60):
        """Reads until the text matches; the text without what only moves the cursor."""
        end = time.monotonic() + seconds
        while not re.search(pattern, self.text):
            if not select.select([self.file], [], [], max(0, end - time.monotonic()))[0]:
                raise TimeoutError(self.text)
            try:
                self.text += os.read(self.file, 65536).decode(errors='replace')
            except OSError:  # all who could write have ended
                break
        return re.sub(r'\x1b\[\?25.|\x1b\[K|\r', '', self.text)

    def press(self, keys):
        os.write(self.file, keys)

    def end(self):
        """The exit status, once the tool has ended."""
        self.read_to('(?!)')
        os.close(self.file)
        return os.waitstatus_to_exitcode(os.waitpid(self.pid, 0)[1])


class TerminalTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        make_work_folder()

    def test_tables_fit_a_terminal_but_are_whole_in_files(self):
        whole = quarryctl(*SCAN).stdout
        self.assertNotIn('…', whole)
        self.assertIn('programs\\edit.exe', whole)
        terminal = Terminal(*SCAN, columns=60)
        lines = terminal.read_to('3 applications').splitlines()
        self.assertEqual(terminal.end(), 0)
        rows = [line for line in lines if '…' in line]
        self.assertEqual(len(rows), 3, lines)
        for row in rows:
            self.assertLess(len(row), 60)
            self.assertRegex(row, r' Z:\\.*….*\.exe$')

    def test_colours_are_for_terminals_whose_user_wants_them(self):
        colour = re.compile(r'\x1b\[3[123]m')
        for environment, expected in (({}, True), ({'NO_COLOR': '1'}, False), ({'NO_COLOR': ''}, True)):
            terminal = Terminal(*SCAN, '-v', **environment)
            self.assertEqual(terminal.end(), 0)
            self.assertEqual(bool(colour.search(terminal.text)), expected, terminal.text)
        self.assertNotRegex(quarryctl(*SCAN, '-v').stderr, colour)

    def test_control_c_ends_a_watch_and_a_scan_on_its_way(self):
        write_filters('large.ini', '/usr')
        for arguments, sign in ((('windows', '--watch'), 'window'), (('scan', '--ini', 'large.ini'), 'Folders: ')):
            terminal = Terminal(*arguments)
            terminal.read_to(sign)
            terminal.press(b'\x03')
            self.assertEqual(terminal.end(), 130, terminal.text)

    def test_a_reader_that_leaves_is_no_error_but_a_full_disk_is(self):
        for arguments in (SCAN, (*SCAN, '--json')):
            with subprocess.Popen([*COMMAND, *arguments], cwd=WORK, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
                process.stdout.close()
                self.assertNotIn(b'could not be written', process.stderr.read())
            self.assertEqual(process.returncode, 0)
        with open('/dev/full', 'wb') as full, \
                subprocess.Popen([*COMMAND, *SCAN], cwd=WORK, stdout=full, stderr=subprocess.PIPE) as process:
            self.assertIn(b'could not be written', process.stderr.read())
        self.assertEqual(process.returncode, 1)


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1], verbosity=2)
