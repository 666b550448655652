"""Looks whether what the pages point to is there.

In every *.md of the project: a relative link leads to a file, and to a heading where it names one;
and in blocks that are set off (by a fence or four spaces) the scripts, the files in the project's
folders, the presets, the options, and the subcommands of the vamel command that they name exist.
"""
import json
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / 'scripts'))
from headerdoc import anchor  # noqa: E402

FENCED = re.compile(r'^```(\w*)\n(.*?)^```$', re.M | re.S)
INDENTED = re.compile(r'(?:(?<=\n\n)|\A)((?: {4}[^\n]*\n)(?:(?: {4}[^\n]*)?\n)*)')
INLINE = re.compile(r'`[^`\n]*`')
LINK = re.compile(r'\[(?:[^\]]|\n)*?\]\(([^)\s]+)\)|^\[[^\]]+\]: (\S+)$', re.M)
FOLDERS = {p.name for p in ROOT.iterdir() if p.is_dir() and not p.name.startswith('.')} - {'build'}


def pages():
    """The pages that are, or are about to be, under version control."""
    listed = subprocess.run(['git', 'ls-files', '-co', '--exclude-standard', '*.md'], cwd=ROOT,
                            capture_output=True, text=True).stdout.split()
    found = listed or [str(p.relative_to(ROOT)) for p in ROOT.rglob('*.md')]
    return sorted(p for p in found if not p.startswith('build/') and (ROOT / p).exists())


def without_code(text):
    return INLINE.sub('', INDENTED.sub('', FENCED.sub('', text)))


def anchors(path):
    """The names by which links reach the headings of a page."""
    seen, found = {}, set()
    for heading in re.findall(r'^#+ (.*)$', FENCED.sub('', path.read_text(encoding='utf-8')), re.M):
        found.add(anchor(re.sub(r'\[([^\]]*)\]\([^)]*\)', r'\1', heading), seen))
    return found


def link_fault(page, target):
    path, _, name = target.partition('#')
    aim = (ROOT / page).parent / path if path else ROOT / page
    if not aim.exists():
        return 'leads nowhere'
    if name and aim.suffix == '.md' and name not in anchors(aim):
        return 'there is no such heading'
    return None


def command_fault(line, presets, options):
    """The first name in a line of commands that nothing bears."""
    for preset in re.findall(r'--preset[ =]([\w-]+)', line):
        if preset not in presets:
            return f'no preset {preset}'
    for option in re.findall(r'-D ?(VAMEL_\w+)', line):
        if option not in options:
            return f'no option {option}'
    for command, rest in re.findall(r'(?:^|\| )\s*vamel ([a-z]+)((?: [^|]*)?)', line):
        source = ROOT / 'tools' / f'cmd_{command}.cpp'
        if not source.exists():
            return f'no vamel {command}'
        known = source.read_text() + (ROOT / 'tools/RecordPrinter.cpp').read_text()
        for option in re.findall(r'(?<= )--[\w-]+', rest):
            if option not in known:
                return f'vamel {command} has no {option}'
    for path in re.findall(r'(?<![\w./$~-])((?:\w+)/[\w./*+-]*\w)', line):
        if path.split('/')[0] in FOLDERS and not list(ROOT.glob(path)):
            return f'no file {path}'
    return None


def command_lines(text):
    blocks = [block for kind, block in FENCED.findall(text) if kind in ('sh', 'bash', 'shell', '')]
    blocks += INDENTED.findall(FENCED.sub('', text))
    return [line for block in blocks for line in block.splitlines()]


def faults():
    presets = {p['name'] for p in json.loads((ROOT / 'CMakePresets.json').read_text())
               ['configurePresets']}
    sources = [ROOT / 'CMakeLists.txt', *(ROOT / 'cmake').glob('*.cmake')]
    options = set(re.findall(r'VAMEL_\w+', ''.join(p.read_text() for p in sources)))
    for page in pages():
        text = (ROOT / page).read_text(encoding='utf-8')
        for first, second in LINK.findall(without_code(text)):
            target = first or second
            if not re.match(r'\w+:', target) and (fault := link_fault(page, target)):
                yield f'{page}: {target}: {fault}'
        for line in command_lines(text):
            if fault := command_fault(line, presets, options):
                yield f'{page}: {fault}: {line.strip()}'


found = list(faults())
print(*found, f'{len(pages())} pages, {len(found)} faults', sep='\n')
sys.exit(1 if found else 0)
