#!/usr/bin/python3
"""Opens workbooks in one headless LibreOffice and prints, for every sheet, what is drawn on it
as LibreOffice sees it: "== <file>\t<sheet>\tshapes=<n>\tnotes=<n>\tlinks=<n>\t<names>", where
shapes counts the draw page (pictures, shapes, charts, embedded objects, controls), notes the
cell annotations, links the cells of the used area that hold a hyperlink field, and names lists
the shapes' names joined by "|". A file that LibreOffice cannot open prints "!! <file>\t<reason>".

usage: lo_objects.py FILE...
"""
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..', 'xl', 'office'))
import lo_session  # noqa: E402
from lo_session import props, url  # noqa: E402


def links(sheet):
    cur = sheet.createCursor()
    cur.gotoEndOfUsedArea(False)
    n = 0
    for r in range(min(cur.RangeAddress.EndRow, 200) + 1):
        for c in range(min(cur.RangeAddress.EndColumn, 50) + 1):
            cell = sheet.getCellByPosition(c, r)
            try:
                if cell.getTextFields().createEnumeration().hasMoreElements():
                    n += 1
            except Exception:  # noqa: BLE001
                pass
    return n


def main(files):
    try:
        office = lo_session.Office()
    except lo_session.StartError as e:
        print('!! soffice did not answer: %s' % e)
        return 2
    try:
        for path in files:
            doc = None
            try:
                doc = office.desktop.loadComponentFromURL(url(path), '_blank', 0, props(Hidden=True))
                if doc is None or not hasattr(doc, 'Sheets'):
                    print('!! %s\tnot a spreadsheet' % path)
                    continue
                sheets = doc.Sheets
                for i in range(sheets.Count):
                    sh = sheets.getByIndex(i)
                    page = sh.DrawPage
                    names = [page.getByIndex(k).Name for k in range(page.Count)]
                    print('== %s\t%s\tshapes=%d\tnotes=%d\tlinks=%d\t%s' % (
                        os.path.basename(path), sh.Name, page.Count, sh.Annotations.Count,
                        links(sh), '|'.join(names)))
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
