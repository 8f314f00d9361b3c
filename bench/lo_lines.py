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
import glob
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', 'tests', 'data'))
from lo_dump import lo_session, props, url  # noqa: E402


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
    try:
        office = lo_session.Office()
    except lo_session.StartError:
        return 2
    desktop = office.desktop
    try:
        for path in sorted(glob.glob(os.path.join(folder, '*.xlsx'))):
            doc = desktop.loadComponentFromURL(url(path), '_blank', 0, props(Hidden=True))
            edit(doc, job)
            doc.storeToURL(url(path), props(FilterName='Calc Office Open XML'))
            doc.close(True)
    finally:
        office.close()
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1], sys.argv[2]))
