#!/usr/bin/python3
"""Writes N workbooks that open in every way but the usual one: three sheets each, panes frozen
or split, zoom 75-150 %, an active cell far down, page break preview on one sheet, and the second
sheet active. The workload of the "open the same way" batch (A1, 100 %, first sheet, no panes).

usage: gen_view_books.py FOLDER [N]
"""
import os
import sys
import zipfile

DECL = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\r\n'
NS = ('xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main" '
      'xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships"')
REL = 'http://schemas.openxmlformats.org/officeDocument/2006/relationships'
CT = 'application/vnd.openxmlformats-officedocument.spreadsheetml.'


def sheet(k, n):
    views = [
        '<sheetView zoomScale="{z}" zoomScaleNormal="{z}" workbookViewId="0"><pane xSplit="1" '
        'ySplit="2" topLeftCell="B3" activePane="bottomRight" state="frozen"/><selection pane="topRight"/>'
        '<selection pane="bottomLeft"/><selection pane="bottomRight" activeCell="C40" sqref="C40"/></sheetView>',
        '<sheetView tabSelected="1" zoomScale="{z}" topLeftCell="A20" workbookViewId="0">'
        '<selection activeCell="D25" sqref="D25:E30"/></sheetView>',
        '<sheetView view="pageBreakPreview" zoomScale="60" zoomScaleNormal="{z}" '
        'zoomScaleSheetLayoutView="60" workbookViewId="0"><pane xSplit="2000" ySplit="1500" '
        'topLeftCell="C5"/><selection pane="bottomRight" activeCell="F9" sqref="F9"/></sheetView>',
    ]
    rows = ''.join(f'<row r="{r}"><c r="A{r}"><v>{r * (k + 1)}</v></c><c r="B{r}" t="inlineStr">'
                   f'<is><t>行{r}</t></is></c></row>' for r in range(1, 201))
    z = 75 + (n * 7 + k * 25) % 76
    return (DECL + f'<worksheet {NS}><dimension ref="A1:B200"/><sheetViews>'
            + views[k].format(z=z) + '</sheetViews><sheetFormatPr defaultRowHeight="15"/>'
            + f'<sheetData>{rows}</sheetData></worksheet>')


def book(path, n):
    with zipfile.ZipFile(path, 'w', zipfile.ZIP_DEFLATED) as z:
        z.writestr('[Content_Types].xml', DECL +
                   '<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">'
                   '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
                   '<Default Extension="xml" ContentType="application/xml"/>'
                   f'<Override PartName="/xl/workbook.xml" ContentType="{CT}sheet.main+xml"/>'
                   + ''.join(f'<Override PartName="/xl/worksheets/sheet{i}.xml" ContentType="{CT}worksheet+xml"/>'
                             for i in (1, 2, 3)) + '</Types>')
        z.writestr('_rels/.rels', DECL +
                   '<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">'
                   f'<Relationship Id="rId1" Type="{REL}/officeDocument" Target="xl/workbook.xml"/></Relationships>')
        z.writestr('xl/workbook.xml', DECL + f'<workbook {NS}><bookViews><workbookView activeTab="1"/>'
                   '</bookViews><sheets>' + ''.join(
                       f'<sheet name="表{i}" sheetId="{i}" r:id="rId{i}"/>' for i in (1, 2, 3))
                   + '</sheets></workbook>')
        z.writestr('xl/_rels/workbook.xml.rels', DECL +
                   '<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">'
                   + ''.join(f'<Relationship Id="rId{i}" Type="{REL}/worksheet" Target="worksheets/sheet{i}.xml"/>'
                             for i in (1, 2, 3)) + '</Relationships>')
        for i in (1, 2, 3):
            z.writestr(f'xl/worksheets/sheet{i}.xml', sheet(i - 1, n))


def main(folder, count):
    os.makedirs(folder, exist_ok=True)
    for n in range(count):
        book(os.path.join(folder, f'view{n:03d}.xlsx'), n)


if __name__ == '__main__':
    main(sys.argv[1], int(sys.argv[2]) if len(sys.argv) > 2 else 200)
