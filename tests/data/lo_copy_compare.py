#!/usr/bin/python3
"""Checks copies and moves of cells made by the engine against the same copies and moves made by
LibreOffice (XCellRangeMovement copyRange and moveRange, its copy-paste and cut-paste): opens
ORIGINAL in a headless LibreOffice, does each action there in order, recalculates, and compares
the displayed value of every cell of every sheet with EDITED (the engine's output, recalculated
too). Prints each difference; exits 0 when there is none, 1 when there are differences, 2 when
LibreOffice could not do its part.

usage: lo_copy_compare.py ORIGINAL EDITED ACTION...
ACTION: copy|move,FROM_SHEET,RANGE,TO_SHEET,CELL (sheets counted from 0; "copy,0,A1:A4,1,C6")
"""
import sys

import uno  # noqa: F401
from com.sun.star.table import CellAddress, CellRangeAddress

from lo_dump import lo_session, props, url
from lo_shift_compare import values


def col_number(letters):
    n = 0
    for ch in letters:
        n = n * 26 + ord(ch) - 64
    return n


def cell(text):
    letters = ''.join(ch for ch in text if ch.isalpha())
    return col_number(letters) - 1, int(text[len(letters):]) - 1


def main(args):
    original, edited, actions = args[0], args[1], args[2:]
    try:
        office = lo_session.Office()
    except lo_session.StartError as e:
        print('!! soffice did not answer: %s' % e)
        return 2
    desktop = office.desktop
    try:
        doc = desktop.loadComponentFromURL(url(original), '_blank', 0, props(Hidden=True))
        for a in actions:
            kind, from_sheet, rng, to_sheet, at = a.split(',')
            first, last = (rng.split(':') + [rng])[:2]
            c1, r1 = cell(first)
            c2, r2 = cell(last)
            src = CellRangeAddress(int(from_sheet), c1, r1, c2, r2)
            tc, tr = cell(at)
            dst = CellAddress(int(to_sheet), tc, tr)
            sh = doc.Sheets.getByIndex(int(to_sheet))
            if kind == 'copy':
                sh.copyRange(dst, src)
            else:
                sh.moveRange(dst, src)
        expected = values(doc)
        doc.close(True)
        doc = desktop.loadComponentFromURL(url(edited), '_blank', 0, props(Hidden=True))
        got = values(doc)
        doc.close(True)
    finally:
        office.close()
    diffs = 0
    for key in sorted(set(expected) | set(got)):
        if expected.get(key) != got.get(key):
            diffs += 1
            print('%s!%s\texpected %r\tgot %r' % (key[0], key[1], expected.get(key), got.get(key)))
    return 1 if diffs else 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
