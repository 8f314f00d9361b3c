#!/usr/bin/python3
"""LibreOffice making every workbook of a folder open the same way through UNO (one headless
LibreOffice for the run): on every sheet no frozen or split panes, zoom 100 %, A1 active and
scrolled to; the first sheet active; each workbook saved in place. The peer of the three runs
`表示 枠の固定` (unfreeze), `表示 ズーム` (100) and `編集 ジャンプ` (A1, first sheet).

usage: lo_open_same_way.py FOLDER
"""
import sys

from lo_in_place import edit_each_book


def open_same_way(doc):
    # Views need a controller: the document is loaded hidden but with its window model.
    ctl = doc.getCurrentController()
    for i in range(doc.Sheets.Count):
        sh = doc.Sheets.getByIndex(i)
        ctl.setActiveSheet(sh)
        ctl.freezeAtPosition(0, 0)
        ctl.ZoomType = 3  # BY_VALUE
        ctl.ZoomValue = 100
        ctl.select(sh.getCellRangeByName('A1'))
    ctl.setActiveSheet(doc.Sheets.getByIndex(0))


def main(folder):
    return edit_each_book(folder, open_same_way)


if __name__ == '__main__':
    sys.exit(main(sys.argv[1]))
