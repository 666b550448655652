"""Reads the comments of the public headers: what scripts/manpages and scripts/reference share.

A comment in front of a declaration is made of blocks with empty lines between them:

    text                     a paragraph
      name  text             arguments, each with two spaces before it and at least two behind it
    VAMEL_OK  text           results, likewise; several names have commas between them
        anything             four spaces: as it stands
"""
import os
import re
import sys

ARGUMENT = re.compile(r'^  (\w+(?:, \w+)*)  +(\S.*)$')
RESULT = re.compile(r'^(VAMEL_\w+(?:, VAMEL_\w+)*)  +(\S.*)$')
DECLARATION = re.compile(r'/\*\n((?: \*[^\n]*\n)+?) \*/\n(\w+_API )(\w+) (\w+)\(([^)]*)\);', re.S)
SECTION = re.compile(r'^/\* -+ ([a-z ]+) -+ \*/$', re.M)


class Function:
    def __init__(self, match):
        self.comment = strip(match.group(1))
        self.result, self.name = match.group(3), match.group(4)
        arguments = ' '.join(match.group(5).split())
        self.arguments = [] if arguments == 'void' else arguments.split(', ')
        self.blocks = blocks(self.comment)


def strip(comment):
    """The text of a comment without its stars."""
    return re.sub(r'(?m)^ \*(?: |$)', '', comment).strip('\n')


def rows(lines, row):
    """The rows of a block of arguments or results: names and text."""
    found = []
    for line in lines:
        match = row.match(line)
        if match:
            found.append([match.group(1).split(', '), match.group(2)])
        else:
            found[-1][1] += ' ' + line.strip()
    return found


def blocks(comment):
    """A comment as pairs of kind (text, arguments, results, literal) and content."""
    found = []
    for part in comment.split('\n\n'):
        lines = part.split('\n')
        if lines[0].startswith('    '):
            found.append(('literal', lines))
        elif ARGUMENT.match(lines[0]):
            found.append(('arguments', rows(lines, ARGUMENT)))
        elif RESULT.match(lines[0]):
            found.append(('results', rows(lines, RESULT)))
        else:
            found.append(('text', ' '.join(line.strip() for line in lines)))
    return found


def result_codes(source):
    """The table of result codes: name, value, text."""
    table = source[source.index('#define VAMEL_RESULT_CODES(X)'):]
    table = table[:table.index('\n\n')].replace('\\\n', ' ')
    return re.findall(r'X\((\w+), (-?\d+),\s*"([^"]*)"\)', table)


def families(source):
    """Every function by the section of the header that it stands in."""
    parts = SECTION.split(source)
    return [(name, [Function(m) for m in DECLARATION.finditer(text)])
            for name, text in zip(parts[1::2], parts[2::2])]


def enumerations(source):
    """Name, comment and (name, value, remark) of each enumeration that is written out."""
    found = re.findall(r'/\*([^/]*?)\*/\nenum (\w+) \{\n(.*?)\n\};', source, re.S)
    item = re.compile(r'^\s*(\w+) = (\d+),?(?:\s*/\* (.*?) \*/)?$', re.M)
    return [(name, ' '.join(strip(comment).split()).lstrip('* '), item.findall(body))
            for comment, name, body in found]


def introduction(source):
    """The blocks of the comment that the header begins with."""
    return blocks(strip(re.match(r'/\*\n(.*?)\n \*/', source, re.S).group(1)))


def parameters(block):
    return [f'@param {name} {text}' for names, text in block for name in names]


def retvals(block):
    """The results as such; as a list where one has several reasons, whose order counts."""
    flat = [(name, text) for names, text in block for name in names]
    if len(dict(flat)) < len(flat):
        return ['', *(f'- `{name}` {text}' for name, text in flat), '']
    return [f'@retval {name} {text}' for name, text in flat]


def markup(comment):
    """A comment in the words of the reference's generator."""
    lines = []
    for kind, content in blocks(comment):
        if kind == 'arguments':
            lines += parameters(content)
        elif kind == 'results':
            lines += retvals(content)
        else:
            lines += content if kind == 'literal' else [content]
        lines.append('')
    return re.sub(r'(?<![\w/])\*(?=\w)', r'\\*', '\n'.join(lines).strip())


def reference_comment(match):
    return '/**\n' + markup(strip(match.group(1) + '\n')) + '\n*/\n'


def reference(source):
    """The header as the generator of the reference understands it."""
    if '/**' in source or '///' in source:
        return source  # speaks its language already
    codes = result_codes(source) if 'enum vamel_result {' in source else []
    written = ''.join(f'    {n} = {v}, /**< {t} */\n' for n, v, t in codes)
    source = re.sub(r'(enum vamel_result \{)[^}]*\};', r'\1\n' + written + '};', source)
    source = re.sub(r'\A/\*\n', '/** @file\n', source)
    source = SECTION.sub('', source)
    source = re.sub(r'^/\* NOLINT[^\n]*\n', '', source, flags=re.M)
    source = re.sub(r'^/\*\n((?: \*[^\n]*\n)+?) \*/\n', reference_comment, source, flags=re.M)
    source = re.sub(r'^(#define VAMEL_VERSION_(?:MINOR|PATCH|STRING) \S+)$',
                    r'\1 /**< see VAMEL_VERSION_MAJOR */', source, flags=re.M)
    source = re.sub(r'^/\* (?!\*)', '/** ', source, flags=re.M)
    return re.sub(r'(\S.*?)/\* (.*?) \*/$', r'\1/**< \2 */', source, flags=re.M)


def wrapper_reference(source):
    """The C++ headers, whose comments are lines: those in front of a declaration, and the first."""
    source = re.sub(r'^\s*// -+ .*\n', '\n', source, flags=re.M)
    source = re.sub(r'^template <>\nstruct std::.*\n', '', source, flags=re.M)
    source = re.sub(r'\A//', '/// @file\n///', source)
    source = re.sub(r'^(\s*)// (?!NOLINT|namespace)', r'\1/// ', source, flags=re.M)
    return re.sub(r'^(\s*)//$', r'\1///', source, flags=re.M)


def anchor(heading, seen):
    """The name by which links reach a heading: small letters, hyphens for spaces."""
    name = re.sub(r'[^\w\- ]', '', heading.strip().lower()).replace(' ', '-')
    count = seen.setdefault(name, 0)
    seen[name] += 1
    return f'{name}-{count}' if count else name


def label(page, name=''):
    """The name of a page's heading among all pages."""
    return 'page_' + re.sub(r'\W', '_', f'{page}_{name}').strip('_').lower()


def links(text, page, targets):
    """Links between pages become links to their labels; of links to other files the text stays."""
    def link(match):
        words, target = match.group(1), match.group(2)
        if '://' in target or target.endswith(('.svg', '.png')):
            return match.group(0)
        path, _, name = target.partition('#')
        folder = os.path.dirname(page)
        other = os.path.normpath(os.path.join(folder, path)) if path else page
        inside = other.endswith('.md') and os.path.dirname(other) in ('', 'docs')
        return f'[{words}](#{label(other, name)})' if inside else words

    text = re.sub(r'\[([^\]]*)\]\(([^)\s]+)\)', link, text)
    text = re.sub(r'^\[\d+\]: .*\n?', '', text, flags=re.M)
    return re.sub(r'\[(\d+)\]', lambda m: f'[{m.group(1)}](#{label(page, targets[m.group(1)])})'
                  if m.group(1) in targets else m.group(0), text)


def page_reference(source, page):
    """A page as the generator of the reference understands it: each heading has a label."""
    seen, parts = {}, re.split(r'(^```.*?^```$)', source, flags=re.M | re.S)

    def heading(match):
        name = anchor(match.group(2), seen)
        name = '' if match.group(1) == '#' else name
        return f'{match.group(1)} {match.group(2)} {{#{label(page, name)}}}'

    for i in range(0, len(parts), 2):
        parts[i] = re.sub(r'^(#+) (.*)$', heading, parts[i], flags=re.M)
    # A link around code leads to a file that is not in the reference.
    whole = re.sub(r'\[(`[^`\n]*`)\]\([^)\s]*\)', r'\1', ''.join(parts))
    parts = re.split(r'(^```.*?^```$|`[^`\n]*`)', whole, flags=re.M | re.S)
    targets = dict(re.findall(r'^\[(\d+)\]: #(\S+)$', source, re.M))
    marked = [links(part, page, targets) if i % 2 == 0 else part for i, part in enumerate(parts)]
    return ''.join(marked)


def main(path):
    source = open(path, encoding='utf-8').read()
    page = os.path.relpath(path)
    if page.endswith('.md'):
        source = page_reference(source, page)
    else:
        source = wrapper_reference(source) if page.endswith('.hpp') else reference(source)
    sys.stdout.write(source)


if __name__ == '__main__':
    main(sys.argv[1])
