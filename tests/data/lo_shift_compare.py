#!/usr/bin/python3
"""Checks an edit of rows or columns made by the engine against the same edit made by LibreOffice:
opens ORIGINAL in a headless LibreOffice, inserts or deletes the lines there, recalculates, and
compares the displayed value of every cell of every sheet with EDITED (the engine's output,
recalculated by LibreOffice too). Prints each difference; exits 0 when there is none, 1 when
there are differences, 2 when LibreOffice could not do its part.

usage: lo_shift_compare.py ORIGINAL EDITED SHEET_INDEX rows|columns insert|delete FIRST COUNT
                          [BAND_FIRST BAND_LAST]
(SHEET_INDEX counts from 0, FIRST from 1). With a band, only the cells of those columns (rows)
or rows (columns) move: cells shifted down or up (right or left), not whole lines.
The cells of the edited sheet that carry a validation (within A1:Z60) are compared as well.
(Conditional formats are not: LibreOffice cuts the deleted cells out of their ranges but leaves
the rest of the band where it was, while the cells themselves move.)
"""
import os
import sys

from lo_dump import col_name, lo_session, props, url  # noqa: F401


# Functions whose value changes from one calculation to the next.
VOLATILE = ('RAND', 'NOW', 'TODAY', 'RANDBETWEEN', 'INFO', 'CELL')


def values(doc):
    """Shown values by (sheet, cell). Cells with volatile functions are left out, and so are
    sheets with pivot tables, whose output LibreOffice lays out anew when it edits the sheet."""
    doc.calculateAll()
    out = {}
    sheets = doc.Sheets
    for i in range(sheets.Count):
        sh = sheets.getByIndex(i)
        if sh.getDataPilotTables().getCount() > 0:
            continue
        cur = sh.createCursor()
        cur.gotoEndOfUsedArea(False)
        for r in range(cur.RangeAddress.EndRow + 1):
            for c in range(cur.RangeAddress.EndColumn + 1):
                cell = sh.getCellByPosition(c, r)
                f = cell.getFormula().upper()
                if any(v + '(' in f for v in VOLATILE):
                    continue
                s = cell.getString()
                if s != '':
                    out[(sh.Name, '%s%d' % (col_name(c), r + 1))] = s
    return out


def covered(doc, sheet_index):
    """The cells of a sheet under a validation, with its first formula, within A1:Z60. Read per
    range of equal cell attributes (a validation is one of them), not cell by cell."""
    sh = doc.Sheets.getByIndex(sheet_index)
    out = set()
    ranges = sh.getUniqueCellFormatRanges()
    for i in range(ranges.getCount()):
        same = ranges.getByIndex(i)
        v = same.getPropertyValue('Validation')
        if v.Type.value == 'ANY':
            continue
        for a in same.getRangeAddresses():
            for r in range(a.StartRow, min(a.EndRow, 59) + 1):
                for c in range(a.StartColumn, min(a.EndColumn, 25) + 1):
                    out.add(('validation %s' % v.getFormula1(), '%s%d' % (col_name(c), r + 1)))
    return out


def main(args):
    original, edited, sheet_index, axis, action, first, count = args[:7]
    sheet_index, first, count = int(sheet_index), int(first), int(count)
    band = (int(args[7]), int(args[8])) if len(args) >= 9 else None
    try:
        office = lo_session.Office()
    except lo_session.StartError as e:
        print('!! soffice did not answer: %s' % e)
        return 2
    desktop = office.desktop
    try:
        doc = desktop.loadComponentFromURL(url(original), '_blank', 0, props(Hidden=True))
        sh = doc.Sheets.getByIndex(sheet_index)
        if band:
            import uno
            from com.sun.star.table import CellRangeAddress
            a = CellRangeAddress()
            a.Sheet = sheet_index
            if axis == 'rows':
                a.StartColumn, a.EndColumn = band[0] - 1, band[1] - 1
                a.StartRow, a.EndRow = first - 1, first + count - 2
            else:
                a.StartRow, a.EndRow = band[0] - 1, band[1] - 1
                a.StartColumn, a.EndColumn = first - 1, first + count - 2
            if action == 'insert':
                sh.insertCells(a, uno.Enum('com.sun.star.sheet.CellInsertMode',
                                           'DOWN' if axis == 'rows' else 'RIGHT'))
            else:
                sh.removeRange(a, uno.Enum('com.sun.star.sheet.CellDeleteMode',
                                           'UP' if axis == 'rows' else 'LEFT'))
        else:
            lines = sh.Rows if axis == 'rows' else sh.Columns
            if action == 'insert':
                lines.insertByIndex(first - 1, count)
            else:
                lines.removeByIndex(first - 1, count)
        expected = values(doc)
        expected_rules = covered(doc, sheet_index)
        doc.close(True)
        doc = desktop.loadComponentFromURL(url(edited), '_blank', 0, props(Hidden=True))
        got = values(doc)
        got_rules = covered(doc, sheet_index)
        doc.close(True)
    finally:
        office.close()
    diffs = 0
    for key in sorted(set(expected) | set(got)):
        e, g = expected.get(key), got.get(key)
        # LibreOffice computes some formulas on deleted references as #VALUE! where the
        # application and the reloaded file show #REF!.
        if e == '#VALUE!' and g == '#REF!':
            continue
        if e != g:
            diffs += 1
            print('%s!%s\texpected %r\tgot %r' % (key[0], key[1], expected.get(key), got.get(key)))
    for rule, cell in sorted(expected_rules ^ got_rules):
        diffs += 1
        print('%s\t%s\t%s' % (rule, cell, 'expected' if (rule, cell) in expected_rules else 'not expected'))
    return 1 if diffs else 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
