#!/usr/bin/python3
"""LibreOffice deleting every blank row of every sheet of the workbooks of a folder through UNO
(one headless LibreOffice for the run), saving each workbook in place: the peer of
`sheaflow run すべてのシート_行 空白行削除`.

usage: lo_blank_rows.py FOLDER
"""
import glob
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', 'tests', 'data'))
from lo_dump import lo_session, props, url  # noqa: E402


def main(folder):
    try:
        office = lo_session.Office()
    except lo_session.StartError:
        return 2
    desktop = office.desktop
    try:
        for path in sorted(glob.glob(os.path.join(folder, '*.xlsx'))):
            doc = desktop.loadComponentFromURL(url(path), '_blank', 0, props(Hidden=True))
            for i in range(doc.Sheets.Count):
                sh = doc.Sheets.getByIndex(i)
                cur = sh.createCursor()
                cur.gotoEndOfUsedArea(False)
                last_row, last_col = cur.RangeAddress.EndRow, cur.RangeAddress.EndColumn
                data = sh.getCellRangeByPosition(0, 0, last_col, last_row).getDataArray()
                blank = [r for r, row in enumerate(data) if all(v == '' for v in row)]
                # Bottom up, runs of blank rows at once.
                j = len(blank) - 1
                while j >= 0:
                    k = j
                    while k > 0 and blank[k - 1] == blank[k] - 1:
                        k -= 1
                    sh.Rows.removeByIndex(blank[k], blank[j] - blank[k] + 1)
                    j = k - 1
            doc.storeToURL(url(path), props(FilterName='Calc Office Open XML'))
            doc.close(True)
    finally:
        office.close()
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1]))
