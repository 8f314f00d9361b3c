#!/usr/bin/python3
"""Writes the blank-row workload: BOOKS workbooks of 3 sheets, each with a header row and ROWS rows
x 8 columns (id, Japanese name, code, integer, decimal, date, a formula =A{r}*2 with its value,
a note), every tenth row left blank. Deterministic: the same bytes for the same arguments.

usage: gen_blank_rows.py OUTDIR [BOOKS=20] [ROWS=20000]
"""
import os
import sys
import zipfile

NS = ('xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main" '
      'xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships"')
DECL = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\r\n'
CT = 'application/vnd.openxmlformats-officedocument.'
SHEETS = ['売上', '在庫', '顧客']
NAMES = ['佐藤', '鈴木', '高橋', '田中', '伊藤', '渡辺', '山本', '中村']


def sheet_xml(rows, seed):
    out = [DECL, '<worksheet %s><dimension ref="A1:H%d"/><sheetData>' % (NS, rows + 1)]
    out.append('<row r="1">' + ''.join(
        '<c r="%s1" t="inlineStr"><is><t>%s</t></is></c>' % (c, h)
        for c, h in zip('ABCDEFGH', ['番号', '氏名', 'コード', '数量', '金額', '日付', '倍', '備考'])) +
        '</row>')
    for r in range(2, rows + 2):
        if r % 10 == 0:
            continue
        i = r + seed
        out.append(
            '<row r="%d"><c r="A%d"><v>%d</v></c>'
            '<c r="B%d" t="inlineStr"><is><t>%s</t></is></c>'
            '<c r="C%d" t="inlineStr"><is><t>C%05d</t></is></c>'
            '<c r="D%d"><v>%d</v></c><c r="E%d"><v>%d.25</v></c><c r="F%d"><v>%d</v></c>'
            '<c r="G%d"><f>A%d*2</f><v>%d</v></c>'
            '<c r="H%d" t="inlineStr"><is><t>%s</t></is></c></row>' %
            (r, r, i, r, NAMES[i % 8], r, i % 99999, r, i % 1000, r, i % 5000, r,
             45000 + i % 400, r, r, 2 * i, r, '東京' if i % 8 == 0 else 'メモ'))
    out.append('</sheetData></worksheet>')
    return ''.join(out)


def book(path, rows, seed):
    with zipfile.ZipFile(path, 'w', zipfile.ZIP_DEFLATED) as z:
        z.writestr('[Content_Types].xml', DECL + (
            '<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">'
            '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
            '<Default Extension="xml" ContentType="application/xml"/>'
            '<Override PartName="/xl/workbook.xml" ContentType="%sspreadsheetml.sheet.main+xml"/>' % CT +
            ''.join('<Override PartName="/xl/worksheets/sheet%d.xml" '
                    'ContentType="%sspreadsheetml.worksheet+xml"/>' % (k + 1, CT) for k in range(3)) +
            '</Types>'))
        z.writestr('_rels/.rels', DECL + (
            '<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">'
            '<Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/'
            'relationships/officeDocument" Target="xl/workbook.xml"/></Relationships>'))
        z.writestr('xl/workbook.xml', DECL + '<workbook %s><sheets>' % NS + ''.join(
            '<sheet name="%s" sheetId="%d" r:id="rId%d"/>' % (n, k + 1, k + 1)
            for k, n in enumerate(SHEETS)) + '</sheets></workbook>')
        z.writestr('xl/_rels/workbook.xml.rels', DECL + (
            '<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">' +
            ''.join('<Relationship Id="rId%d" Type="http://schemas.openxmlformats.org/'
                    'officeDocument/2006/relationships/worksheet" Target="worksheets/sheet%d.xml"/>'
                    % (k + 1, k + 1) for k in range(3)) + '</Relationships>'))
        for k in range(3):
            z.writestr('xl/worksheets/sheet%d.xml' % (k + 1), sheet_xml(rows, seed * 3 + k))


def main(args):
    out = args[0]
    books = int(args[1]) if len(args) > 1 else 20
    rows = int(args[2]) if len(args) > 2 else 20000
    os.makedirs(out, exist_ok=True)
    for b in range(books):
        book(os.path.join(out, 'book%02d.xlsx' % (b + 1)), rows, b)


if __name__ == '__main__':
    main(sys.argv[1:])
