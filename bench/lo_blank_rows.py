#!/usr/bin/python3
"""LibreOffice deleting every blank row of every sheet of the workbooks of a folder through UNO
(one headless LibreOffice for the run), saving each workbook in place: the peer of
`sheaflow run すべてのシート_行 空白行削除`.

usage: lo_blank_rows.py FOLDER
"""
import sys

from lo_in_place import edit_each_book


def delete_blank_rows(doc):
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


def main(folder):
    return edit_each_book(folder, delete_blank_rows)


if __name__ == '__main__':
    sys.exit(main(sys.argv[1]))
