#!/usr/bin/python3
"""Prints how LibreOffice reads the page setup of every sheet of a workbook: one line a sheet,
"<sheet>\tlandscape=<0|1>\twidth=<1/100 mm>\tleft=<1/100 mm>\theader=<centre header text>\t
area=<print area>\tscale=<percent>\tcentre=<0|1>". Used to check the engine's page setup.

usage: lo_page_style.py FILE
"""
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..', 'xl', 'office'))
import lo_session  # noqa: E402


def main(path):
    with lo_session.Office() as office:
        doc = office.load(path, ReadOnly=True)
        try:
            styles = doc.StyleFamilies.getByName('PageStyles')
            for i in range(doc.Sheets.Count):
                sheet = doc.Sheets.getByIndex(i)
                style = styles.getByName(sheet.PageStyle)
                content = style.RightPageHeaderContent  # kept: its texts refer to it
                header = content.getCenterText().getString()
                areas = ','.join('%d:%d-%d:%d' % (a.StartColumn, a.StartRow, a.EndColumn, a.EndRow)
                                 for a in sheet.getPrintAreas())
                print('%s\tlandscape=%d\twidth=%d\tleft=%d\theader=%s\tarea=%s\tscale=%d\tcentre=%d' % (
                    sheet.Name, int(style.IsLandscape), style.Width, style.LeftMargin, header,
                    areas, style.PageScale, int(style.CenterHorizontally)))
        finally:
            doc.close(True)
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1]))
