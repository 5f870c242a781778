#!/usr/bin/env python3
"""Measures Torvik at its limits and prints the tables of docs/limits.md.

    tests/faults/limits.py PROGRAM [SECTION ...]

Sections: memory, table, reading, writing, first; all if none is given. Needs /usr/bin/time (Debian: time)
and timeout, room for 2 GB in the temporary folder, and some minutes.
"""
import os
import random
import resource
import select
import subprocess
import sys
import tempfile
import time

PROGRAM = os.path.abspath(sys.argv[1])
PERIODOGRAMS = {1: 'folding', 2: 'Rayleigh', 3: 'Scargle', 4: 'Rayleigh x Scargle'}


class Run:
    """One run in a folder of its own, ended by SIGTERM after `seconds`."""

    def __init__(self, text, seconds=600):
        with tempfile.TemporaryDirectory() as folder:
            with open(folder + '/a.idx', 'w') as file:
                file.write(text)
            command = ['/usr/bin/time', '-f', '%M %U %S', '-o', folder + '/time', 'timeout', str(seconds), PROGRAM, 'a.idx']
            done = subprocess.run(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.DEVNULL, text=True)
            with open(folder + '/time') as file:
                peak, user, system = file.read().split('\n')[-2].split()
            self.output = done.stdout
            self.ended = done.returncode == 124
            self.peak = float(peak) * 1024 / 1e6
            self.seconds = float(user) + float(system)
            self.size = {name: os.path.getsize(folder + '/' + name) / 1e6 for name in os.listdir(folder)}


def reflections(count):
    """A list of reflections of a cubic cell of edge 5, each component wrong by up to 0.02."""
    draw = random.Random(count)
    component = lambda: '%.4f' % (draw.randint(-6, 6) * 0.2 + draw.uniform(-0.02, 0.02))
    lines = [' '.join(component() for _ in range(3)) for _ in range(count)]
    return '_NumberOfReflections\n%d\n_Reflections\n%s\n' % (count, '\n'.join(lines))


def row(*cells):
    print('| ' + ' | '.join(str(cell) for cell in cells) + ' |', flush=True)


def head(*cells):
    print()
    row(*cells)
    row(*('---' for _ in cells))


VOLUMES = '_UserProvidedTestVolumes\n350 350*125.0\n'
NARROW = '_MinMaxVolumeOfPrimitiveCell\n60 300\n'
WIDE = '_MinMaxVolumeOfPrimitiveCell\n10 1e9\n'  # fills the table of test periods


def memory():
    head('Input', 'Peak of memory, MB', 'CPU time, s')
    cases = [('empty file', '', 600),
             ('40 reflections, volumes of 60 to 300', NARROW + reflections(40), 600),
             ('40 reflections, automatic range', reflections(40), 10),
             ('999 reflections, 350 volumes of the user', VOLUMES + reflections(999), 10),
             ('999 reflections, volumes of 60 to 300', NARROW + reflections(999), 10)]
    for name, text, seconds in cases:
        run = Run(text, seconds)
        row(name, '%.1f' % run.peak, 'ended after %d' % seconds if run.ended else '%.1f' % run.seconds)


def table():
    head('Periodogram', 'Peak, MB', 'CPU time, s', 'with a log: peak, MB', 'CPU time, s', 'log, MB', 'periodogram file, MB')
    for kind, name in PERIODOGRAMS.items():
        plain = Run('_TypeOfPeriodogram\n%d\n' % kind + WIDE + reflections(4))
        logged = Run('_CreateLogFile\n1\n_TypeOfPeriodogram\n%d\n' % kind + WIDE + reflections(4))
        file = Run('_TypeOfPeriodogram\n%d\n' % -kind + WIDE + reflections(4))
        row(name, *('%.0f' % x for x in (plain.peak, plain.seconds, logged.peak, logged.seconds,
                                         logged.size['a_idx.log'], file.size['a_periodogram.res'])))


def reading():
    sizes = (1000, 10000, 100000, 1000000)
    head('Input: n times', *('n = %d: s' % n for n in sizes), 'peak at the largest, MB')
    end = '_end\n'  # an unknown keyword: the run ends here
    repeated = [('a comment line', '# a comment\n'), ('a line that is passed over', 'a word\n'), ('an empty line', '\n'),
                ('a comma on a line', ',\n'), ('a keyword with its value', '_Wavelength\n1.5\n'),
                ('the keyword that clears the reflections', '_NumberOfReflections\n4\n')]
    cases = [(name, lambda n, line=line: line * n + end) for name, line in repeated]
    cases += [('ten characters of one comment', lambda n: '#' + '0123456789' * n + '\n' + end),
              ('ten characters of one quoted word', lambda n: '"' + '012345678\n' * n + '"\n' + end),
              ('ten digits of one number', lambda n: '_Wavelength\n1.' + '0123456789' * n + '\n' + end),
              ('one value of a list, of 2000000000', lambda n: '_UserProvidedTestVolumes\n2000000000 ' + '1.0\n' * n + end),
              ('"2000000000*1.0"', lambda n: '_UserProvidedTestVolumes\n1 2000000000*1.0\n' * n + end),
              ('one of 999 reflections', lambda n: ('_NumberOfReflections\n999\n_Reflections\n' + '1d-1,+.1E0\n\t3*-1.e-01\n' * 999)
               * (n // 999) + end)]
    for name, text in cases:
        runs = [Run(text(n)) for n in sizes]
        row(name, *('%.2f' % run.seconds for run in runs), '%.0f' % runs[-1].peak)
    times = []
    for n in sizes:
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        subprocess.run([PROGRAM], input=b'\n' * n, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        times.append(after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime)
    row('an empty line at the prompt', *('%.2f' % seconds for seconds in times), '')


def writing():
    sizes = (100, 1000, 10000, 100000, 1000000)
    head('Log and periodogram', *('volumes to %.0e' % V for V in sizes))
    lines, seconds = [], []
    for V in sizes:
        limits = '_MinMaxVolumeOfPrimitiveCell\n10 %g\n' % V
        run = Run('_CreateLogFile\n1\n_TypeOfPeriodogram\n-1\n' + limits + reflections(4))
        lines.append(int(run.output.split('test periods :')[1].split()[0]))
        seconds.append(run.seconds)
    row('periods', *lines)
    row('CPU time, s', *('%.2f' % s for s in seconds))
    row('microseconds per period', *('%.1f' % (s / n * 1e6) for s, n in zip(seconds, lines)))
    numbers = (16, 32, 64, 128)
    head('Results with all relations', *('%d solutions' % n for n in numbers))
    runs = [Run('_SortSolutionsByQualityVsVolume\n3\n_TheMainCriterion\n0.3\n_UserProvidedTestVolumes\n3 125 375 625\n'
                '_MaxNumberOfSavedBases\n%d\n' % n + reflections(16)) for n in numbers]
    row('size, MB', *('%.2f' % run.size['a_idx.res'] for run in runs))
    row('CPU time, s', *('%.2f' % run.seconds for run in runs))


def first():
    """When the terminal shows the first sign of work, through a pipe."""
    head('Run', 'First line of progress', 'after, s')
    for name, text, sign in [
            ('999 reflections, 350 volumes of the user', VOLUMES + reflections(999), 'Progress : '),
            ('200 reflections, full table', WIDE + reflections(200), 'Calculating Rayleigh periodogram\n'),
            ('999 reflections, full table', WIDE + reflections(999), 'Calculating Rayleigh periodogram\n')]:
        with tempfile.TemporaryDirectory() as folder:
            with open(folder + '/a.idx', 'w') as file:
                file.write(text)
            start = time.monotonic()
            run = subprocess.Popen([PROGRAM, 'a.idx'], cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.DEVNULL)
            shown = ''
            while sign not in shown and select.select([run.stdout], [], [], 60)[0]:
                shown += os.read(run.stdout.fileno(), 65536).decode()
            row(name, '`%s`' % sign.strip(), '%.2f' % (time.monotonic() - start))
            run.kill()
            run.wait()


if __name__ == '__main__':
    sections = {section.__name__: section for section in (memory, table, reading, writing, first)}
    for wanted in sys.argv[2:] or sections:
        sections[wanted]()
