"""Turns the ```c blocks of a page into a C program that runs them and checks their results.

doc_examples.py PAGE.md OUT.c. The first block holds the page's helper verbs and ends up at the top;
every later one becomes a function body between start() and stop(). A line `expression; // value`,
with a number or a string and perhaps a remark behind it, is a check.
"""
import re
import sys

BLOCK = re.compile(r'^## ([^\n]*)$|^```c\n(.*?)^```$', re.M | re.S)
CHECK = re.compile(r'^(\s*)(.+?);\s*// (-?\d+|"[^"]*")(?:\s.*)?$')
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


page = open(sys.argv[1], encoding='utf-8').read()
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
open(sys.argv[2], 'w', encoding='utf-8').write('\n'.join(out))
