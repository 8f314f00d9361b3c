#!/usr/bin/python3
"""LibreOffice making every workbook of a folder open the same way through UNO (one headless
LibreOffice for the run): on every sheet no frozen or split panes, zoom 100 %, A1 active and
scrolled to; the first sheet active; each workbook saved in place. The peer of the three runs
`表示 枠の固定` (unfreeze), `表示 ズーム` (100) and `編集 ジャンプ` (A1, first sheet).

usage: lo_open_same_way.py FOLDER
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
            # Views need a controller: the document is loaded hidden but with its window model.
            doc = desktop.loadComponentFromURL(url(path), '_blank', 0, props(Hidden=True))
            ctl = doc.getCurrentController()
            for i in range(doc.Sheets.Count):
                sh = doc.Sheets.getByIndex(i)
                ctl.setActiveSheet(sh)
                ctl.freezeAtPosition(0, 0)
                ctl.ZoomType = 3  # BY_VALUE
                ctl.ZoomValue = 100
                ctl.select(sh.getCellRangeByName('A1'))
            ctl.setActiveSheet(doc.Sheets.getByIndex(0))
            doc.storeToURL(url(path), props(FilterName='Calc Office Open XML'))
            doc.close(True)
    finally:
        office.close()
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1]))
