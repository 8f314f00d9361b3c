#!/usr/bin/env python3
"""Writes the small hand-made workbooks of the engine tests. Each part is written the way a
streaming writer does (data descriptor, zero sizes in the local header), which the engine must
read. Run from this folder: python3 make_fixtures.py"""
import io
import zipfile

MAIN = 'http://schemas.openxmlformats.org/spreadsheetml/2006/main'
REL = 'http://schemas.openxmlformats.org/officeDocument/2006/relationships'
PKG = 'http://schemas.openxmlformats.org/package/2006/relationships'
DECL = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\r\n'


class Unseekable(io.RawIOBase):
    """A write-only stream, so that zipfile writes data descriptors."""
    def __init__(self, f):
        self.f = f
    def writable(self):
        return True
    def write(self, b):
        return self.f.write(b)


def write_zip(path, parts):
    with open(path, 'wb') as raw:
        with zipfile.ZipFile(Unseekable(raw), 'w', zipfile.ZIP_DEFLATED) as z:
            for name, text in parts:
                info = zipfile.ZipInfo(name, date_time=(2024, 1, 1, 0, 0, 0))
                info.compress_type = zipfile.ZIP_DEFLATED
                with z.open(info, 'w') as w:
                    w.write(text.encode('utf-8'))


CONTENT_TYPES = DECL + (
    '<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">'
    '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
    '<Default Extension="xml" ContentType="application/xml"/>'
    '<Override PartName="/xl/workbook.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml"/>'
    '<Override PartName="/xl/worksheets/sheet1.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.worksheet+xml"/>'
    '<Override PartName="/xl/worksheets/sheet2.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.worksheet+xml"/>'
    '<Override PartName="/xl/chartsheets/sheet1.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.chartsheet+xml"/>'
    '<Override PartName="/xl/styles.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.styles+xml"/>'
    '<Override PartName="/xl/sharedStrings.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.sharedStrings+xml"/>'
    '<Override PartName="/xl/calcChain.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.calcChain+xml"/>'
    '<Override PartName="/xl/comments1.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.comments+xml"/>'
    '</Types>')

ROOT_RELS = DECL + (
    f'<Relationships xmlns="{PKG}">'
    '<Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument" Target="xl/workbook.xml"/>'
    '</Relationships>')

WORKBOOK = DECL + (
    f'<workbook xmlns="{MAIN}" xmlns:r="{REL}">'
    '<workbookPr codeName="ThisWorkbook"/>'
    '<bookViews><workbookView xWindow="0" yWindow="0" windowWidth="1000" windowHeight="800"/></bookViews>'
    '<sheets><sheet name="データ" sheetId="1" r:id="rId1"/><sheet name="グラフ" sheetId="4" r:id="rId3"/>'
    '<sheet name="Prefixed" sheetId="2" r:id="rId2"/></sheets>'
    '<definedNames><definedName name="範囲">\'データ\'!$A$1:$C$5</definedName></definedNames>'
    '<calcPr calcId="191029"/>'
    '<?keep-me instruction?></workbook>')

WORKBOOK_RELS = DECL + (
    f'<Relationships xmlns="{PKG}">'
    '<Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/worksheet" Target="worksheets/sheet1.xml"/>'
    '<Relationship Id="rId2" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/worksheet" Target="/xl/worksheets/sheet2.xml"/>'
    '<Relationship Id="rId3" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/chartsheet" Target="chartsheets/sheet1.xml"/>'
    '<Relationship Id="rId4" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/styles" Target="styles.xml"/>'
    '<Relationship Id="rId5" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/sharedStrings" Target="sharedStrings.xml"/>'
    '<Relationship Id="rId6" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/calcChain" Target="calcChain.xml"/>'
    '</Relationships>')

STYLES = DECL + (
    f'<styleSheet xmlns="{MAIN}">'
    '<numFmts count="2"><numFmt numFmtId="164" formatCode="yyyy/m/d"/><numFmt numFmtId="165" formatCode="0.00%"/></numFmts>'
    '<fonts count="1"><font><sz val="11"/><name val="游ゴシック"/></font></fonts>'
    '<fills count="2"><fill><patternFill patternType="none"/></fill><fill><patternFill patternType="gray125"/></fill></fills>'
    '<borders count="1"><border><left/><right/><top/><bottom/><diagonal/></border></borders>'
    '<cellStyleXfs count="1"><xf numFmtId="0" fontId="0" fillId="0" borderId="0"/></cellStyleXfs>'
    '<cellXfs count="6"><xf numFmtId="0" fontId="0" fillId="0" borderId="0" xfId="0"/>'
    '<xf numFmtId="14" fontId="0" fillId="0" borderId="0" xfId="0" applyNumberFormat="1"/>'
    '<xf numFmtId="164" fontId="0" fillId="0" borderId="0" xfId="0" applyNumberFormat="1"/>'
    '<xf numFmtId="4" fontId="0" fillId="0" borderId="0" xfId="0" applyNumberFormat="1"/>'
    '<xf numFmtId="165" fontId="0" fillId="0" borderId="0" xfId="0" applyNumberFormat="1"/>'
    '<xf numFmtId="49" fontId="0" fillId="0" borderId="0" xfId="0" applyNumberFormat="1"/></cellXfs>'
    '<cellStyles count="1"><cellStyle name="標準" xfId="0" builtinId="0"/></cellStyles>'
    '</styleSheet>')

SST = DECL + (
    f'<sst xmlns="{MAIN}" count="9" uniqueCount="7">'
    '<si><t>東京都</t></si>'                                                   # 0
    '<si><r><rPr><b/></rPr><t>赤</t></r><r><t xml:space="preserve"> 字</t></r>'
    '<rPh sb="0" eb="1"><t>アカ</t></rPh><phoneticPr fontId="1"/></si>'        # 1 "赤 字"
    '<si><t>一行目&#13;\n二行目</t></si>'                                       # 2
    '<si><t>_x0041_ and _x005F_x0041_</t></si>'                                # 3 "A and _x0041_"
    '<si><t>abc</t></si>'                                                      # 4
    '<si><t>ＡＢＣ</t></si>'                                                    # 5
    '<si><t xml:space="preserve"> </t></si>'                                   # 6 one space
    '</sst>')

SHEET1 = DECL + (
    f'<worksheet xmlns="{MAIN}" xmlns:r="{REL}" xmlns:x14ac="http://schemas.microsoft.com/office/spreadsheetml/2009/9/ac">'
    '<sheetPr codeName="Sheet1"/><dimension ref="A1:G10"/>'
    '<sheetViews><sheetView tabSelected="1" workbookViewId="0"/></sheetViews>'
    '<sheetFormatPr defaultRowHeight="13.5"/>'
    '<cols><col min="8" max="8" width="9" style="3" customWidth="1"/></cols>'
    '<sheetData>'
    '<row r="1" spans="1:6" x14ac:dyDescent="0.15">'
    '<c r="A1" t="s"><v>0</v></c><c r="B1"><v>123</v></c><c r="C1" s="2"><v>45292</v></c>'
    '<c r="D1" t="b"><v>1</v></c><c r="E1" t="e"><v>#DIV/0!</v></c>'
    '<c r="F1" t="inlineStr"><is><t>インライン</t></is></c></row>'
    '<row r="2" spans="1:4">'
    '<c r="A2" t="s"><v>1</v></c><c r="B2" s="4"><v>0.5</v></c>'
    '<c r="C2"><f>B1*2</f><v>246</v></c><c r="D2" t="str"><f>"x"&amp;"y"</f><v>xy</v></c></row>'
    '<row r="3"><c r="B3"><v>1</v></c><c r="C3"><f t="shared" ref="C3:C5" si="0">B3*10</f><v>10</v></c>'
    '<c r="D3"><f t="array" ref="D3:D4">B3:B4*2</f><v>2</v></c><c r="E3" t="s"><v>5</v></c></row>'
    '<row r="4"><c r="B4"><v>2</v></c><c r="C4"><f t="shared" si="0"/><v>20</v></c>'
    '<c r="D4"><v>4</v></c><c r="E4" t="s"><v>4</v></c></row>'
    '<row r="5"><c r="B5"><v>3</v></c><c r="C5"><f t="shared" si="0"/><v>30</v></c>'
    '<c r="E5" t="inlineStr"><is><t>ｱｲｳ</t></is></c></row>'
    '<row r="6"><c r="A6" t="s" ph="1"><v>2</v></c><c r="B6" t="s"><v>3</v></c><c r="C6" t="s"><v>6</v></c>'
    '<c r="D6" s="1"><v>45306.5</v></c></row>'
    '<row r="10"><c r="G10" s="3"/></row>'
    '</sheetData>'
    '<pageMargins left="0.7" right="0.7" top="0.75" bottom="0.75" header="0.3" footer="0.3"/>'
    '</worksheet>')

SHEET1_RELS = DECL + (
    f'<Relationships xmlns="{PKG}">'
    '<Relationship Id="rId2" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/comments" Target="../comments1.xml"/>'
    '</Relationships>')

COMMENTS = DECL + (
    f'<comments xmlns="{MAIN}"><authors><author>作成者</author></authors><commentList>'
    '<comment ref="B1" authorId="0"><text><r><t>メモ：</t></r><r><t>確認済み</t></r></text></comment>'
    '</commentList></comments>')

# A sheet whose elements carry a namespace prefix, with a self-closing row and no cell refs.
SHEET2 = DECL + (
    f'<x:worksheet xmlns:x="{MAIN}">'
    '<x:sheetViews><x:sheetView workbookViewId="0"/></x:sheetViews>'
    '<x:sheetData><x:row r="1"><x:c t="inlineStr"><x:is><x:t>一</x:t></x:is></x:c>'
    '<x:c><x:v>2</x:v></x:c></x:row><x:row r="2"/>'
    '<x:row r="3"><x:c r="B3" t="s"><x:v>0</x:v></x:c></x:row></x:sheetData></x:worksheet>')

CHARTSHEET = DECL + (
    f'<chartsheet xmlns="{MAIN}" xmlns:r="{REL}"><sheetViews><sheetView workbookViewId="0"/></sheetViews>'
    '</chartsheet>')

CALC_CHAIN = DECL + f'<calcChain xmlns="{MAIN}"><c r="C2" i="1"/><c r="C3"/></calcChain>'

write_zip('cells.xlsx', [
    ('[Content_Types].xml', CONTENT_TYPES),
    ('_rels/.rels', ROOT_RELS),
    ('xl/workbook.xml', WORKBOOK),
    ('xl/_rels/workbook.xml.rels', WORKBOOK_RELS),
    ('xl/styles.xml', STYLES),
    ('xl/sharedStrings.xml', SST),
    ('xl/worksheets/sheet1.xml', SHEET1),
    ('xl/worksheets/_rels/sheet1.xml.rels', SHEET1_RELS),
    ('xl/comments1.xml', COMMENTS),
    ('xl/worksheets/sheet2.xml', SHEET2),
    ('xl/chartsheets/sheet1.xml', CHARTSHEET),
    ('xl/calcChain.xml', CALC_CHAIN),
])
