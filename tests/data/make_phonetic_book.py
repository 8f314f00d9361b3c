#!/usr/bin/python3
"""Writes phonetic.xlsx, the workbook of the phonetic reading (furigana) tests, from the corpus's
sjs-ふりがな phonetic_text.xlsx (its shared strings carry readings):
  A1 漢字 (reading カンジ, plain entry), A2 漢字withColor (reading カンジ, rich entry),
  A3 山田　太郎 as an inline string with the readings ﾔﾏﾀﾞ (half-width) and たろう (hiragana),
  A4 the number 12, A5 かな (a shared entry without reading).

Usage: python3 make_phonetic_book.py CORPUS_DIR [OUT.xlsx]
"""
import sys
import zipfile

SOURCE = sys.argv[1] + '/xlsx/sjs-ふりがな phonetic_text.xlsx'
OUT = sys.argv[2] if len(sys.argv) > 2 else 'phonetic.xlsx'

ROWS = ('<sheetData>'
        '<row r="1"><c r="A1" s="1" t="s"><v>0</v></c></row>'
        '<row r="2"><c r="A2" t="s"><v>1</v></c></row>'
        '<row r="3"><c r="A3" t="inlineStr"><is><t>山田　太郎</t>'
        '<rPh sb="0" eb="2"><t>ﾔﾏﾀﾞ</t></rPh><rPh sb="3" eb="5"><t>たろう</t></rPh>'
        '<phoneticPr fontId="1"/></is></c></row>'
        '<row r="4"><c r="A4"><v>12</v></c></row>'
        '<row r="5"><c r="A5" t="s"><v>2</v></c></row>'
        '</sheetData>')

with zipfile.ZipFile(SOURCE) as src, zipfile.ZipFile(OUT, 'w', zipfile.ZIP_DEFLATED) as out:
    for item in src.infolist():
        data = src.read(item.filename)
        if item.filename == 'xl/worksheets/sheet1.xml':
            text = data.decode('utf-8')
            begin, end = text.index('<sheetData'), text.index('</sheetData>') + len('</sheetData>')
            text = text[:begin] + ROWS + text[end:]
            text = text.replace('<dimension ref="A1:A2"/>', '<dimension ref="A1:A5"/>')
            data = text.encode('utf-8')
        if item.filename == 'xl/sharedStrings.xml':
            text = data.decode('utf-8').replace('</sst>', '<si><t>かな</t></si></sst>')
            text = text.replace('count="2" uniqueCount="2"', 'count="3" uniqueCount="3"')
            data = text.encode('utf-8')
        out.writestr(item.filename, data)
