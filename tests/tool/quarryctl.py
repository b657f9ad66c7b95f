"""What the tests of the tool share. Each is started with the folders of the source tree and of the build."""

import os
import pathlib
import re
import shutil
import subprocess
import sys

ROOT, BUILD = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
WORK = BUILD / pathlib.Path(sys.argv[0]).stem
# The prefix that scripts/wine.sh takes: CTest names the lane.
PREFIX = re.match('id:([a-z0-9]+),', os.environ.get('CTEST_RESOURCE_GROUP_0_LANES', 'id:tests,'))[1]
WINDOWS = ROOT / 'build/wine' / PREFIX / 'drive_c/windows'
WINE = [ROOT / 'scripts/wine.sh', '--prefix', 'tests']
COMMAND = [*WINE, BUILD / 'bin/quarryctl.exe']


def make_work_folder():
    """Makes WORK anew, with three programs and with filters.ini, which leads to them."""
    shutil.rmtree(WORK, ignore_errors=True)
    programs = WORK / 'programs'
    programs.mkdir(parents=True)
    for name, source in {'Füße.exe': 'notepad.exe', 'mines.exe': 'system32/winemine.exe', 'edit.exe': 'regedit.exe'}.items():
        shutil.copy(WINDOWS / source, programs / name)
    write_filters('filters.ini', programs)


def write_filters(name, root):
    """An INI file with one filter: all programs below `root`."""
    text = f'[All]\r\nRoot=Z:{root}\r\nIncludes=*.exe\r\n'.replace('/', '\\')
    (WORK / name).write_text(text, encoding='utf-16')


def quarryctl(*arguments, **options):
    """The finished process."""
    return subprocess.run([*COMMAND, *arguments], cwd=WORK, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          encoding='utf-8', **options)
