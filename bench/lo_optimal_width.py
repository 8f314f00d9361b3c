#!/usr/bin/python3
"""Prints LibreOffice's optimal width of every used column of the first sheet of each workbook,
in pixels at 96 dpi, beside the width the workbook stores (after Sheaflow fitted it): "<file>
<column> <libreoffice px> <stored px>". Used to compare the engine's auto-fit with LibreOffice's.

usage: lo_optimal_width.py FILE...
"""
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', 'tests', 'data'))
from lo_dump import lo_session, col_name, props, url  # noqa: E402


def px(hmm):
    return round(hmm / 2540.0 * 96)


def main(files):
    try:
        office = lo_session.Office()
    except lo_session.StartError:
        return 2
    desktop = office.desktop
    try:
        for path in files:
            doc = desktop.loadComponentFromURL(url(path), '_blank', 0, props(Hidden=True))
            sh = doc.Sheets.getByIndex(0)
            cur = sh.createCursor()
            cur.gotoEndOfUsedArea(False)
            for c in range(cur.RangeAddress.EndColumn + 1):
                col = sh.Columns.getByIndex(c)
                stored = col.Width
                col.OptimalWidth = True
                print('%s\t%s\t%d\t%d' % (os.path.basename(path), col_name(c), px(col.Width),
                                          px(stored)))
            doc.close(True)
    finally:
        office.close()
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
