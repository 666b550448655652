"""Makes programs of the code in a page, and runs them as the page says.

    doc_examples.py checks PAGE.md OUT.c      a program that makes the page's calls and checks them
    doc_examples.py programs PAGE.md FOLDER   the page's programs; prints their paths for CMake
    doc_examples.py run PAGE.md FOLDER [EMULATOR...]    runs the built ones, and compares

For `checks` the first ```c block holds the page's helper verbs and ends up at the top; every later
one becomes a function body between start() and stop(). A line `expression; // value`, with a number
or a string and perhaps a remark behind it, is a check.

For the others each ```c or ```cpp block is a program. A block without an #include changes the
program so far: a function or variable that the program has already is replaced, a new one is put
in front of what follows it in the block, or of main. A ```console block runs the program before it
in a new folder: each line behind "$ " is a command, and the lines below are all that it prints.
"""
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

BLOCK = re.compile(r'^## ([^\n]*)$|^```c\n(.*?)^```$', re.M | re.S)
CHECK = re.compile(r'^(\s*)(.+?);\s*// (-?\d+|"[^"]*")(?:\s.*)?$')
FENCE = re.compile(r'^```(c|cpp|console)\n(.*?)^```$', re.M | re.S)
NAME = re.compile(r'^(?!#)\w[^\n={;(]*?\b(\w+)(?:\[\w*\])?(?:\(| =|;| \{)', re.M)
CHECKERS = r'''
static int bad, checks;
static void is_int(const char *where, const char *what, long long got, long long want) {
    checks++;
    if (got != want) { bad++; printf("%s: %s: got %lld, want %lld\n", where, what, got, want); }
}
static void is_text(const char *where, const char *what, const char *got, const char *want) {
    checks++;
    if (strcmp(got, want)) { bad++; printf("%s: %s: got %s, want %s\n", where, what, got, want); }
}
'''


def render(line, title):
    check = CHECK.match(line)
    if check is None:
        assert '// ' not in line, 'a remark that is no check: ' + line
        return line
    indent, code, value = check.groups()
    kind = 'is_text' if value[0] == '"' else 'is_int'
    quoted = code.replace('\\', '\\\\').replace('"', '\\"')
    return f'{indent}{kind}("{title}", "{quoted}", {code}, {value});'


def checks(page, out_path):
    out, title, count = [], '', 0
    for heading, block in BLOCK.findall(page):
        if heading:
            title = heading.replace('"', "'")
        elif not out:
            out += ['#define _DEFAULT_SOURCE', block, CHECKERS]
        else:
            count += 1
            out.append(f'static void example_{count}(void) {{')
            out += [render(line, title) for line in block.split('\n')] + ['}']
    out += ['int main(void) {'] + [f'start(); example_{i}(); stop();' for i in range(1, count + 1)]
    out += ['printf("%d checks, %d wrong\\n", checks, bad); return bad != 0 || checks == 0; }', '']
    pathlib.Path(out_path).write_text('\n'.join(out), encoding='utf-8')


def parts(code):
    """The pieces of a program that begin at its margin, as name and text."""
    found = re.split(r'\n\n+(?=\S)', code.strip('\n'))
    return [((NAME.search(part) or [None, part])[1], part) for part in found]


def changed(program, block):
    """The program after a block of changes."""
    made, waiting = parts(program), []
    for name, text in parts(block):
        places = [i for i, (known, _) in enumerate(made) if known == name]
        if places:
            made[places[0]:places[0] + 1] = [*waiting, (name, text)]
            waiting = []
        else:
            waiting.append((name, text))
    end = [i for i, (name, _) in enumerate(made) if name == 'main'] or [len(made)]
    made[end[0]:end[0]] = waiting
    return '\n\n'.join(text for _, text in made) + '\n'


def states(page):
    """Each program of the page with its language and the consoles that follow it."""
    found = []
    for language, block in FENCE.findall(page):
        if language == 'console':
            found[-1][2].append(block)
        elif '#include' in block:
            found.append((language, block, []))
        elif not found:
            sys.exit('a change, and no program before it:\n' + block)
        else:
            found.append((language, changed(found[-1][1], block), []))
    return found


def programs(page, stem, folder):
    folder.mkdir(parents=True, exist_ok=True)
    paths = []
    for count, (language, program, _) in enumerate(states(page), 1):
        path = folder / f'{stem}_{count}.{language}'
        if not path.exists() or path.read_text(encoding='utf-8') != program:
            path.write_text(program, encoding='utf-8')
        paths.append(str(path))
    print(';'.join(paths), end='')


def commands(console):
    """Commands and what each is to print."""
    for part in re.split(r'^\$ ', console, flags=re.M)[1:]:
        command, _, output = part.partition('\n')
        yield command, output


def run_console(console, program, emulator):
    """What goes otherwise than the console says."""
    faults = []
    with tempfile.TemporaryDirectory() as folder:
        call = shlex.join([*emulator, str(program)]) + ' "$@"\n'
        for name in set(re.findall(r'\./(\w+)', console)):
            path = pathlib.Path(folder, name)
            path.write_text('#!/bin/sh\nexec ' + call)
            path.chmod(0o755)
        for command, output in commands(console):
            run = subprocess.run(['sh', '-c', command], cwd=folder, stdout=subprocess.PIPE,
                                 stderr=subprocess.STDOUT, encoding='utf-8', timeout=60)
            if run.stdout != output or run.returncode < 0:
                faults.append(f'{program.name}: $ {command}\n--- page\n{output}--- run'
                              f' (status {run.returncode})\n{run.stdout}')
    return faults


def run(page, stem, folder, emulator):
    faults, count = [], 0
    for number, (_, _, consoles) in enumerate(states(page), 1):
        for console in consoles:
            count += 1
            faults += run_console(console, folder / f'{stem}_{number}', emulator)
    print(*faults, f'{count} consoles, {len(faults)} commands went otherwise', sep='\n')
    return 1 if faults else 0


def main(mode, path, target, *rest):
    path = pathlib.Path(path)
    page, stem = path.read_text(encoding='utf-8'), path.stem.lower()
    if mode == 'checks':
        return checks(page, target)
    if mode == 'programs':
        return programs(page, stem, pathlib.Path(target))
    return run(page, stem, pathlib.Path(target), rest)


sys.exit(main(*sys.argv[1:]))
