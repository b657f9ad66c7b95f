#!/usr/bin/env python3
"""The package, as a developer of a host meets it: unpacked, found by CMake, built with, run beside its DLL.

usage: packageTest.py BUILD [--whole]: the build tree to pack. With --whole its archives are there already, made by
scripts/package.sh, and Clang, the symbols and the signing are tried too.
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(sys.argv[1]).resolve()
WHOLE = '--whole' in sys.argv
WORK = BUILD / 'packageTest'
WARNINGS = '-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror'
VERSION = re.search(r'project\(Quarry VERSION ([\d.]+)', (ROOT / 'CMakeLists.txt').read_text())[1]
NAME = f'quarry-{VERSION}-win64'
# Blanks, characters of three scripts: where an agent's developer may unpack it.
PACKAGE = WORK / 'Päckchen 漢字 (1)' / NAME

# How CMake is told of a compiler. The toolchain file looks for packages in its own place only.
COMPILERS = {
    'gcc': ['-DCMAKE_SYSTEM_NAME=Windows', '-DCMAKE_C_COMPILER=x86_64-w64-mingw32-gcc-posix',
            '-DCMAKE_CXX_COMPILER=x86_64-w64-mingw32-g++-posix', f'-DCMAKE_PREFIX_PATH={PACKAGE}'],
    'clang': [f'-DCMAKE_TOOLCHAIN_FILE={ROOT}/cmake/toolchain-clang-mingw64.cmake',
              f'-Dquarry_DIR={PACKAGE}/lib/cmake/quarry'],
}


def run(*command, folder=WORK, **environment):
    """The output of a command that must succeed."""
    done = subprocess.run([str(part) for part in command], cwd=folder, env=os.environ | environment, encoding='utf-8',
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)
    if done.returncode != 0:
        raise AssertionError(f'{command}: {done.returncode}\n{done.stdout}')
    return done.stdout


def wine(program, *arguments):
    return [str(part) for part in (ROOT / 'scripts/wine.sh', '--prefix', 'tests', program, *arguments)]


def windows_path(path):
    return f'Z:{path}'.replace('/', '\\')


def readme_host(language):
    return re.search(rf'```{language}\n(.*?)```', (PACKAGE / 'README.md').read_text(), re.DOTALL)[1]


def version_of(program):
    text = program.read_bytes().decode('utf-16-le', 'replace')
    return re.search('FileVersion\0+([0-9.]+)', text)[1]


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        shutil.rmtree(WORK, ignore_errors=True)
        PACKAGE.parent.mkdir(parents=True)
        cls.archives = BUILD / 'package'
        if not WHOLE:
            cls.archives = WORK / 'packed'
            run('cpack', '--config', BUILD / 'CPackConfig.cmake', '-B', cls.archives)
        for archive in cls.archives.glob('*.zip'):
            run('sha256sum', '--check', archive.name + '.sha256', folder=cls.archives)
            zipfile.ZipFile(archive).extractall(PACKAGE.parent)

    def test_everything_tells_one_version(self):
        numbers = re.findall(r'#define QUARRY_VERSION_\w+ (\d+)', (PACKAGE / 'include/quarry/quarry.h').read_text())
        self.assertEqual('.'.join(numbers), VERSION)
        self.assertTrue(run(*wine(PACKAGE / 'bin/quarryctl.exe', '--version')).startswith(
            f'quarryctl {VERSION}\nquarry.dll {VERSION}.0\nWindows '))
        for program in ('quarry.dll', 'quarryctl.exe'):
            self.assertEqual(version_of(PACKAGE / 'bin' / program), VERSION + '.0')
        self.assertIn(f'"{VERSION}"', (PACKAGE / 'lib/cmake/quarry/quarryConfigVersion.cmake').read_text())
        self.assertEqual(re.search(r'^## (\d\S*)', (PACKAGE / 'CHANGELOG.md').read_text(), re.MULTILINE)[1], VERSION)

    def test_list_of_parts_names_those_of_the_notices(self):
        parts = json.loads((PACKAGE / 'quarry.spdx.json').read_text())['packages']
        rows = re.findall(r'^\| (.*?) \| ([\d.]+) \| .* \| (.*) \|$', (PACKAGE / 'THIRD_PARTY_NOTICES.md').read_text(),
                          re.MULTILINE)
        noticed = {(name, version) for name, version, where in rows if 'tests only' not in where}
        self.assertEqual({(part['name'], part['versionInfo']) for part in parts[1:]}, noticed)
        self.assertEqual(parts[0]['versionInfo'], VERSION)

    def test_links_of_documents_lead_somewhere(self):
        for document in PACKAGE.rglob('*.md'):
            for link in re.findall(r'\]\(([^)#:]+)[^):]*\)', document.read_text()):
                self.assertTrue((document.parent / link).exists(), f'{document.name}: {link}')

    def test_tables_for_other_languages_are_those_of_the_header(self):
        text = (PACKAGE / 'docs/otherLanguages.md').read_text()
        assertions, record = ['#include "quarry/quarry.h"\n'], None
        members = set()
        for name, size, member, offset, kind in re.findall(
                r'^\| (?:`(Quarry\w+)`)? ?\| ?(\d*) ?\| `(\w+)` \| (\d+) \| `(.*?)` \|', text, re.MULTILINE):
            record = name or record
            if size:
                assertions.append(f'_Static_assert(sizeof({record}) == {size}, "");\n')
            assertions.append(f'_Static_assert(offsetof({record}, {member}) == {offset}, "");\n'
                              f'_Static_assert(_Generic((({record}*)0)->{member}, {kind}: 1), "");\n')
            members.add((record, member))
        for place, function in re.findall(r'^\| (\d+) \| `Quarry_(\w+)`', text, re.MULTILINE):
            assertions.append(f'_Static_assert(offsetof(QuarryFunctions, {function}) == {place} * 8, "");\n')
            members.add(('QuarryFunctions', function))
        header = re.sub(r'/\*.*?\*/', '', (PACKAGE / 'include/quarry/quarry.h').read_text(), flags=re.DOTALL)
        for record, body in re.findall(r'typedef struct (\w+) \{(.*?)\n\} ', header, re.DOTALL):
            for member in re.findall(r'\(\*(\w+)\)\(', body) or re.findall(r'(\w+);', body):
                self.assertIn((record, member), members)
        (WORK / 'layout.c').write_text(''.join(assertions))
        run('x86_64-w64-mingw32-gcc-posix', '-std=c11', '-fsyntax-only', '-I', PACKAGE / 'include', 'layout.c')

    def test_hosts_are_built_and_run(self):
        self.check_hosts('gcc')

    @unittest.skipUnless(WHOLE, 'the release build has it')
    def test_hosts_are_built_by_clang_and_run(self):
        self.check_hosts('clang')

    def check_hosts(self, compiler):
        source = WORK / compiler / 'exämples'
        shutil.copytree(PACKAGE / 'examples', source)
        (source / 'host.c').write_text(readme_host('c'))
        (source / 'host.cpp').write_text(readme_host('cpp'))
        build = WORK / compiler / 'build'
        run('cmake', '-G', 'Ninja', '-S', source, '-B', build, '-DCMAKE_BUILD_TYPE=Debug', *COMPILERS[compiler],
            f'-DCMAKE_C_FLAGS_DEBUG={WARNINGS}', f'-DCMAKE_CXX_FLAGS_DEBUG={WARNINGS}')
        run('cmake', '--build', build)
        listed = run(*wine(build / 'bin/host.exe'), folder=build)
        self.assertIn('iexplore.exe', listed)
        self.assertEqual(run(*wine(build / 'bin/hostCpp.exe'), folder=build), listed)
        self.assertRegex(run(*wine(build / 'bin/linkedHost.exe'), folder=build), r'^\d+ windows')
        self.assertIn('memleak: no leaks.', run(*wine(build / 'bin/everyCall.exe'), folder=build))
        self.check_agent(build)
        run('cmake', '-S', source, '-B', build, '-DCMAKE_CXX_STANDARD=20')
        run('cmake', '--build', build, '--target', 'hostCpp')

    def check_agent(self, build):
        applications = build / 'applicätions'
        icons = build / 'icons'
        applications.mkdir()
        icons.mkdir()
        filters = build / 'filters.ini'
        filters.write_text(f'[All]\r\nRoot={windows_path(applications)}\r\nIncludes=*.exe\r\n', encoding='utf-16')
        programs = ROOT / 'build/wine/tests/drive_c/windows'
        command = wine(build / 'bin/agent.exe', *map(windows_path, (icons, filters, applications)))
        with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, encoding='utf-8') as agent:
            self.assertIn('windows', agent.stdout.readline())
            # Whole at once: the agent looks at a file as soon as it is there.
            shutil.copy(programs / 'notepad.exe', build / 'new.exe').rename(applications / 'first.exe')
            self.wait_for(agent, '+ 1 first')
            shutil.copy(programs / 'system32/hostname.exe', build / 'new.exe').rename(applications / 'second.exe')
            self.wait_for(agent, '+ 2 second')
            (applications / 'first.exe').unlink()
            self.wait_for(agent, '- 1')
            agent.stdin.write('2\n')
            agent.stdin.flush()
            self.wait_for(agent, 'started 2')
            agent.stdin.close()
            self.assertEqual(agent.wait(30), 0)
        self.assertTrue(all(icon.read_bytes().startswith(b'\x89PNG') for icon in icons.iterdir()))
        self.assertGreater(len(list(icons.iterdir())), 1)

    def wait_for(self, agent, line):
        for written in agent.stdout:
            if written.strip() == line:
                return
        self.fail(f'the agent ended without "{line}"')

    @unittest.skipUnless(WHOLE, 'the release build has it')
    def test_header_and_library_are_fit_for_visual_c(self):
        program = WORK / 'visualC'
        program.mkdir()
        shutil.copy(PACKAGE / 'bin/quarry.dll', program)
        # Nothing but the package: neither the headers nor the libraries of Visual C++ are here.
        (program / 'host.c').write_text('#include "quarry/quarry.h"\n'
                                        'int Begin(void) { Quarry_Init(0, 0, 0); Quarry_Exit(); return 0; }\n')
        run('clang-16', '--target=x86_64-pc-windows-msvc', '-ffreestanding', '-Wall', '-Wextra', '-Werror', '-I',
            PACKAGE / 'include', '-c', 'host.c', '-o', 'host.obj', folder=program)
        run('lld-link-16', '/entry:Begin', '/subsystem:console', '/nodefaultlib', 'host.obj', PACKAGE / 'lib/quarry.lib',
            '/out:host.exe', folder=program)
        run(*wine(program / 'host.exe'))

    @unittest.skipUnless(WHOLE, 'the release build has it')
    def test_symbols_name_the_functions_of_the_dll(self):
        folder = WORK / 'symbols'
        folder.mkdir()
        shutil.copy(PACKAGE / 'bin/quarry.dll', folder)
        shutil.copy(PACKAGE / 'symbols/quarry.pdb', folder)
        exports = run('llvm-readobj-16', '--coff-exports', folder / 'quarry.dll')
        image = int(re.search(r'ImageBase: (0x\w+)', run('llvm-readobj-16', '--file-headers', folder / 'quarry.dll'))[1], 16)
        for function in ('Quarry_ScanApplications', 'Quarry_LaunchApplication'):
            rva = int(re.search(rf'Name: {function}\n\s+RVA: (0x\w+)', exports)[1], 16)
            place = run('llvm-symbolizer-16', f'--obj={folder}/quarry.dll', hex(image + rva))
            self.assertIn(function, place)
            self.assertIn('exports.cpp', place)
        self.assertFalse(str(ROOT).encode() in (folder / 'quarry.pdb').read_bytes(), 'it names the folder of the build')

    @unittest.skipUnless(WHOLE, 'the release build has it')
    def test_certificate_signs_what_runs(self):
        run('openssl', 'req', '-x509', '-newkey', 'rsa:2048', '-nodes', '-keyout', 'key.pem', '-out', 'certificate.pem',
            '-subj', '/CN=Quarry test', '-days', '2', '-addext', 'extendedKeyUsage=codeSigning')
        run('openssl', 'pkcs12', '-export', '-inkey', 'key.pem', '-in', 'certificate.pem', '-out', 'test.p12', '-passout',
            'pass:a b')
        run('cpack', '--config', BUILD / 'CPackConfig.cmake', '-B', WORK / 'signed',
            QUARRY_CERTIFICATE=str(WORK / 'test.p12'), QUARRY_CERTIFICATE_PASSWORD='a b')
        zipfile.ZipFile(WORK / 'signed' / f'{NAME}.zip').extractall(WORK / 'signed')
        for program in ('quarry.dll', 'quarryctl.exe'):
            run('osslsigncode', 'verify', '-CAfile', 'certificate.pem', '-in', WORK / 'signed' / NAME / 'bin' / program)
        self.assertIn(f'quarryctl {VERSION}\n', run(*wine(WORK / 'signed' / NAME / 'bin/quarryctl.exe', '--version')))


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1], verbosity=2)
