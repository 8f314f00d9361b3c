#!/usr/bin/python3
"""Opens workbooks in one headless LibreOffice, recalculates them, and prints every sheet: a line
"== <file>\t<sheet>" and then, for each cell that holds something, "<A1>\t<formula>\t<value>".
A file that LibreOffice cannot open prints "!! <file>\t<reason>". Used by the tests to check that
the engine's output is a valid workbook whose formulas compute what they should.

usage: lo_dump.py [--sheets-only] FILE...
With --sheets-only only the sheet lines are printed (whether LibreOffice opens the files).
"""
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..', 'xl', 'office'))
import lo_session  # noqa: E402
from lo_session import props, url  # noqa: E402,F401


def col_name(i):
    s = ''
    i += 1
    while i:
        i, r = divmod(i - 1, 26)
        s = chr(65 + r) + s
    return s


def main(files):
    sheets_only = bool(files) and files[0] == '--sheets-only'
    if sheets_only:
        files = files[1:]
    try:
        office = lo_session.Office()
    except lo_session.StartError as e:
        print('!! soffice did not answer: %s' % e)
        return 2
    desktop = office.desktop
    try:
        for path in files:
            doc = None
            try:
                doc = desktop.loadComponentFromURL(url(path), '_blank', 0, props(Hidden=True))
                if doc is None or not hasattr(doc, 'Sheets'):
                    print('!! %s\tnot a spreadsheet' % path)
                    continue
                if not sheets_only:
                    doc.calculateAll()
                sheets = doc.Sheets
                for i in range(sheets.Count):
                    sh = sheets.getByIndex(i)
                    print('== %s\t%s' % (path, sh.Name))
                    if sheets_only:
                        continue
                    cur = sh.createCursor()
                    cur.gotoEndOfUsedArea(False)
                    last_col = cur.RangeAddress.EndColumn
                    last_row = cur.RangeAddress.EndRow
                    for r in range(last_row + 1):
                        for c in range(last_col + 1):
                            cell = sh.getCellByPosition(c, r)
                            f = cell.getFormula()
                            if f == '':
                                continue
                            print('%s%d\t%s\t%s' % (col_name(c), r + 1, f, cell.getString()))
            except Exception as e:  # noqa: BLE001
                print('!! %s\t%s' % (path, e))
            finally:
                if doc is not None:
                    doc.close(True)
    finally:
        office.close()
    sys.stdout.flush()
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
