#!/usr/bin/python3
"""LibreOffice making one row or column edit in the workbooks of a folder through UNO (one
headless LibreOffice for the run), saving each workbook in place: the peer of the
`sheaflow run` job of the same name in bench/run_lines.sh.

  rowdel  rows 2:5001 of every sheet deleted
  rowins  100 rows inserted before row 2 of every sheet
  every   a blank row before every tenth row of the active sheet from row 2 (rows 12, 22, ...),
          inserted one at a time from the bottom up (the program offers no batch)
  coldel  column C of every sheet deleted
  colins  two columns inserted before column B of every sheet

usage: lo_lines.py FOLDER JOB
"""
import sys

from lo_in_place import edit_each_book


def last_used_row(sheet):
    cur = sheet.createCursor()
    cur.gotoEndOfUsedArea(False)
    return cur.RangeAddress.EndRow  # 0-based


def edit(doc, job):
    if job == 'every':
        sh = doc.CurrentController.ActiveSheet
        last = last_used_row(sh)
        places = list(range(11, last + 1, 10))  # 0-based rows 12, 22, ...
        for r in reversed(places):
            sh.Rows.insertByIndex(r, 1)
        return
    for i in range(doc.Sheets.Count):
        sh = doc.Sheets.getByIndex(i)
        if job == 'rowdel':
            sh.Rows.removeByIndex(1, 5000)
        elif job == 'rowins':
            sh.Rows.insertByIndex(1, 100)
        elif job == 'coldel':
            sh.Columns.removeByIndex(2, 1)
        elif job == 'colins':
            sh.Columns.insertByIndex(1, 2)
        else:
            raise SystemExit('unknown job ' + job)


def main(folder, job):
    return edit_each_book(folder, lambda doc: edit(doc, job))


if __name__ == '__main__':
    sys.exit(main(sys.argv[1], sys.argv[2]))
