#!/usr/bin/env python3
"""Every exported function carries ORVIK_NOEXCEPT after its parameter list, in the public
headers and on the definitions. Lists the ones that do not and fails; with --fix, adds it.
Usage: scripts/check_noexcept.py [--fix]"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
EXPORT = re.compile(r'^(?:extern "C" )?ORVIK_API (?!class\b)', re.M)


def missing(text):
    """Offsets just after the parameter list of each export lacking the marker."""
    out = []
    for m in EXPORT.finditer(text):
        open_paren = text.find('(', m.end())
        if open_paren < 0:
            continue
        depth, j = 0, open_paren
        while j < len(text):
            if text[j] == '(':
                depth += 1
            elif text[j] == ')':
                depth -= 1
                if depth == 0:
                    break
            j += 1
        rest = text[j + 1:].lstrip()
        if rest.startswith(('ORVIK_NOEXCEPT', 'noexcept')):
            continue
        if rest[:1] in (';', '{'):
            out.append(j + 1)
    return out


def main():
    fix = '--fix' in sys.argv[1:]
    files = sorted(ROOT.glob('include/orvik/*.h'))
    files += sorted(p for p in ROOT.glob('*/*.cpp')
                    if not p.parts[-2].startswith(('build', 'tests', 'bench', 'fuzz', 'examples')))
    bad = 0
    for path in files:
        text = path.read_text()
        spots = missing(text)
        if not spots:
            continue
        bad += len(spots)
        for at in spots:
            line = text.count('\n', 0, at) + 1
            print(f'{path.relative_to(ROOT)}:{line}: exported function without ORVIK_NOEXCEPT')
        if fix:
            for at in reversed(spots):
                text = text[:at] + ' ORVIK_NOEXCEPT' + text[at:]
            path.write_text(text)
    return 0 if fix or bad == 0 else 1


if __name__ == '__main__':
    sys.exit(main())
