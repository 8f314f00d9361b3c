#!/usr/bin/python3
"""Writes cell_checks.xlsx, the workbook of the character operation and cell check tests.

One worksheet 名簿 (code name Meibo):
  A1 やまだ　たろう   A2 ｷｬｯﾄ (half-width)   A3 一二三    A4 1.2345 shown as 1.23 (0.00)
  A5 1.255   A6 the text 123456   A7 1000   A8 0.5   A9 =1/0 (cached #DIV/0!)
  A10 2024/01/01 and A11 2024/03/15 (numbers with the format yyyy/mm/dd)
  A12 " 前後空白 "   A13 ＡＢＣ１２３   A14 -1000
  B1 山田 with the reading ヤマダ   B2 =A7*2 (cached 2000)   B3 𠮷野家 (not in CP932)

Usage: python3 make_cell_checks_book.py [OUT.xlsx]
"""
import sys
import zipfile

OUT = sys.argv[1] if len(sys.argv) > 1 else 'cell_checks.xlsx'

NS = 'http://schemas.openxmlformats.org/spreadsheetml/2006/main'
DECL = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'

CONTENT_TYPES = DECL + '''<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types"><Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/><Default Extension="xml" ContentType="application/xml"/><Override PartName="/xl/workbook.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml"/><Override PartName="/xl/worksheets/sheet1.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.worksheet+xml"/><Override PartName="/xl/styles.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.styles+xml"/><Override PartName="/xl/sharedStrings.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.sharedStrings+xml"/></Types>'''

ROOT_RELS = DECL + '''<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships"><Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument" Target="xl/workbook.xml"/></Relationships>'''

WORKBOOK = DECL + '''<workbook xmlns="%s" xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships"><bookViews><workbookView activeTab="0"/></bookViews><sheets><sheet name="名簿" sheetId="1" r:id="rId1"/></sheets></workbook>''' % NS

WORKBOOK_RELS = DECL + '''<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships"><Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/worksheet" Target="worksheets/sheet1.xml"/><Relationship Id="rId2" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/styles" Target="styles.xml"/><Relationship Id="rId3" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/sharedStrings" Target="sharedStrings.xml"/></Relationships>'''

STYLES = DECL + '''<styleSheet xmlns="%s"><numFmts count="1"><numFmt numFmtId="164" formatCode="yyyy/mm/dd"/></numFmts><fonts count="1"><font><sz val="11"/><name val="游ゴシック"/></font></fonts><fills count="2"><fill><patternFill patternType="none"/></fill><fill><patternFill patternType="gray125"/></fill></fills><borders count="1"><border><left/><right/><top/><bottom/><diagonal/></border></borders><cellStyleXfs count="1"><xf numFmtId="0" fontId="0" fillId="0" borderId="0"/></cellStyleXfs><cellXfs count="3"><xf numFmtId="0" fontId="0" fillId="0" borderId="0" xfId="0"/><xf numFmtId="2" fontId="0" fillId="0" borderId="0" xfId="0" applyNumberFormat="1"/><xf numFmtId="164" fontId="0" fillId="0" borderId="0" xfId="0" applyNumberFormat="1"/></cellXfs><cellStyles count="1"><cellStyle name="標準" xfId="0" builtinId="0"/></cellStyles></styleSheet>''' % NS

STRINGS = ['やまだ\u3000たろう', 'ｷｬｯﾄ', '一二三', '123456', ' 前後空白 ', 'ＡＢＣ１２３',
           '山田', '\U00020BB7野家']
# Shared string items; 山田 carries its reading.
ITEMS = {'山田': '<si><t>山田</t><rPh sb="0" eb="2"><t>ヤマダ</t></rPh>'
                 '<phoneticPr fontId="0" type="Hiragana"/></si>'}


def shared_strings():
    items = ''.join(ITEMS.get(s, '<si><t xml:space="preserve">%s</t></si>' % s) for s in STRINGS)
    return DECL + '<sst xmlns="%s" count="%d" uniqueCount="%d">%s</sst>' % (
        NS, len(STRINGS), len(STRINGS), items)


def s(ref, text):
    return '<c r="%s" t="s"><v>%d</v></c>' % (ref, STRINGS.index(text))


def n(ref, value, style=None):
    st = ' s="%d"' % style if style is not None else ''
    return '<c r="%s"%s><v>%s</v></c>' % (ref, st, value)


ROWS = [
    (1, [s('A1', 'やまだ\u3000たろう'), s('B1', '山田')]),
    (2, [s('A2', 'ｷｬｯﾄ'), '<c r="B2"><f>A7*2</f><v>2000</v></c>']),
    (3, [s('A3', '一二三'), s('B3', '\U00020BB7野家')]),
    (4, [n('A4', '1.2345', 1)]),
    (5, [n('A5', '1.255')]),
    (6, [s('A6', '123456')]),
    (7, [n('A7', '1000')]),
    (8, [n('A8', '0.5')]),
    (9, ['<c r="A9" t="e"><f>1/0</f><v>#DIV/0!</v></c>']),
    (10, [n('A10', '45292', 2)]),
    (11, [n('A11', '45366', 2)]),
    (12, [s('A12', ' 前後空白 ')]),
    (13, [s('A13', 'ＡＢＣ１２３')]),
    (14, [n('A14', '-1000')]),
]


def sheet():
    body = ''.join('<row r="%d">%s</row>' % (r, ''.join(cells)) for r, cells in ROWS)
    return (DECL + '<worksheet xmlns="%s"><sheetPr codeName="Meibo"/><dimension ref="A1:B14"/>'
            '<sheetData>%s</sheetData></worksheet>' % (NS, body))


with zipfile.ZipFile(OUT, 'w', zipfile.ZIP_DEFLATED) as z:
    for name, data in [('[Content_Types].xml', CONTENT_TYPES), ('_rels/.rels', ROOT_RELS),
                       ('xl/workbook.xml', WORKBOOK), ('xl/_rels/workbook.xml.rels', WORKBOOK_RELS),
                       ('xl/styles.xml', STYLES), ('xl/sharedStrings.xml', shared_strings()),
                       ('xl/worksheets/sheet1.xml', sheet())]:
        info = zipfile.ZipInfo(name, date_time=(2024, 1, 1, 0, 0, 0))
        info.compress_type = zipfile.ZIP_DEFLATED
        z.writestr(info, data.encode('utf-8'))
