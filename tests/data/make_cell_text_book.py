#!/usr/bin/python3
"""Writes cell_text.xlsx, the workbook of the cell text search and replace tests.

Two worksheets, the second one active:
  売上: A1 東京, B2 東京都 (bold, style 1), C3 123, D4 =A1&"x" (cached 東京x), E5 #N/A (=NA()),
        A6 大阪, B7 ＴＯＫＹＯ (full-width), C8 tokyo
  在庫: A1 東京, B3 =売上!A1 (cached 東京), C5 abc
The styles part carries a bold font and a custom number format, so that a test can see that the
parts a replace does not touch come out byte for byte.

Usage: python3 make_cell_text_book.py [OUT.xlsx]
"""
import sys
import zipfile

OUT = sys.argv[1] if len(sys.argv) > 1 else 'cell_text.xlsx'

STRINGS = ['東京', '東京都', '大阪', 'ＴＯＫＹＯ', 'tokyo', 'abc']


def si(i):
    return STRINGS.index(i)


CONTENT_TYPES = '''<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types"><Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/><Default Extension="xml" ContentType="application/xml"/><Override PartName="/xl/workbook.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml"/><Override PartName="/xl/worksheets/sheet1.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.worksheet+xml"/><Override PartName="/xl/worksheets/sheet2.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.worksheet+xml"/><Override PartName="/xl/styles.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.styles+xml"/><Override PartName="/xl/sharedStrings.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.sharedStrings+xml"/><Override PartName="/docProps/core.xml" ContentType="application/vnd.openxmlformats-package.core-properties+xml"/></Types>'''

ROOT_RELS = '''<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships"><Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument" Target="xl/workbook.xml"/><Relationship Id="rId2" Type="http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties" Target="docProps/core.xml"/></Relationships>'''

CORE = '''<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<cp:coreProperties xmlns:cp="http://schemas.openxmlformats.org/package/2006/metadata/core-properties" xmlns:dc="http://purl.org/dc/elements/1.1/"><dc:creator>sheaflow tests</dc:creator></cp:coreProperties>'''

WORKBOOK = '''<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<workbook xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main" xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships"><bookViews><workbookView activeTab="1"/></bookViews><sheets><sheet name="売上" sheetId="1" r:id="rId1"/><sheet name="在庫" sheetId="2" r:id="rId2"/></sheets></workbook>'''

WORKBOOK_RELS = '''<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships"><Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/worksheet" Target="worksheets/sheet1.xml"/><Relationship Id="rId2" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/worksheet" Target="worksheets/sheet2.xml"/><Relationship Id="rId3" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/styles" Target="styles.xml"/><Relationship Id="rId4" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/sharedStrings" Target="sharedStrings.xml"/></Relationships>'''

STYLES = '''<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<styleSheet xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main"><numFmts count="1"><numFmt numFmtId="164" formatCode="#,##0&quot;円&quot;"/></numFmts><fonts count="2"><font><sz val="11"/><name val="游ゴシック"/></font><font><b/><sz val="11"/><name val="游ゴシック"/></font></fonts><fills count="2"><fill><patternFill patternType="none"/></fill><fill><patternFill patternType="gray125"/></fill></fills><borders count="1"><border><left/><right/><top/><bottom/><diagonal/></border></borders><cellStyleXfs count="1"><xf numFmtId="0" fontId="0" fillId="0" borderId="0"/></cellStyleXfs><cellXfs count="3"><xf numFmtId="0" fontId="0" fillId="0" borderId="0" xfId="0"/><xf numFmtId="0" fontId="1" fillId="0" borderId="0" xfId="0" applyFont="1"/><xf numFmtId="164" fontId="0" fillId="0" borderId="0" xfId="0" applyNumberFormat="1"/></cellXfs><cellStyles count="1"><cellStyle name="標準" xfId="0" builtinId="0"/></cellStyles></styleSheet>'''


def shared_strings():
    items = ''.join('<si><t>%s</t></si>' % s for s in STRINGS)
    return ('<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'
            '<sst xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main" count="%d" '
            'uniqueCount="%d">%s</sst>' % (len(STRINGS), len(STRINGS), items))


def sheet(rows):
    body = ''.join('<row r="%d">%s</row>' % (r, ''.join(cells)) for r, cells in rows)
    return ('<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'
            '<worksheet xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main">'
            '<sheetData>%s</sheetData></worksheet>' % body)


def s(ref, text, style=None):
    st = ' s="%d"' % style if style is not None else ''
    return '<c r="%s" t="s"%s><v>%d</v></c>' % (ref, st, si(text))


SHEET1 = sheet([
    (1, [s('A1', '東京')]),
    (2, [s('B2', '東京都', 1)]),
    (3, ['<c r="C3" s="2"><v>123</v></c>']),
    (4, ['<c r="D4" t="str"><f>A1&amp;"x"</f><v>東京x</v></c>']),
    (5, ['<c r="E5" t="e"><f>NA()</f><v>#N/A</v></c>']),
    (6, [s('A6', '大阪')]),
    (7, [s('B7', 'ＴＯＫＹＯ')]),
    (8, [s('C8', 'tokyo')]),
])

SHEET2 = sheet([
    (1, [s('A1', '東京')]),
    (3, ['<c r="B3" t="str"><f>売上!A1</f><v>東京</v></c>']),
    (5, [s('C5', 'abc')]),
])

with zipfile.ZipFile(OUT, 'w', zipfile.ZIP_DEFLATED) as z:
    for name, data in [('[Content_Types].xml', CONTENT_TYPES), ('_rels/.rels', ROOT_RELS),
                       ('docProps/core.xml', CORE), ('xl/workbook.xml', WORKBOOK),
                       ('xl/_rels/workbook.xml.rels', WORKBOOK_RELS), ('xl/styles.xml', STYLES),
                       ('xl/sharedStrings.xml', shared_strings()),
                       ('xl/worksheets/sheet1.xml', SHEET1), ('xl/worksheets/sheet2.xml', SHEET2)]:
        info = zipfile.ZipInfo(name, date_time=(2024, 1, 1, 0, 0, 0))
        info.compress_type = zipfile.ZIP_DEFLATED
        z.writestr(info, data.encode('utf-8'))
