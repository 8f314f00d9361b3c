#!/usr/bin/env python3
"""Writes styles.xlsx: a workbook bloated with cell styles as copying sheets between workbooks
leaves them: 1,500 styles of the user's ("Style 1" ... with the same look), most unused, and
cells that use a few of them, one through a cell format that marks its number format and font
as the style's (applyNumberFormat="0") while holding values of its own. Used by the style list
and style deletion tests."""

import sys
import zipfile

NS = ('xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main" '
      'xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships"')
DECL = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\r\n'
REL = 'http://schemas.openxmlformats.org/officeDocument/2006/relationships'
CT = 'application/vnd.openxmlformats-officedocument.'
STYLES = 1500

parts = {}
parts['[Content_Types].xml'] = DECL + (
    '<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">'
    '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
    '<Default Extension="xml" ContentType="application/xml"/>'
    f'<Override PartName="/xl/workbook.xml" ContentType="{CT}spreadsheetml.sheet.main+xml"/>'
    f'<Override PartName="/xl/worksheets/sheet1.xml" ContentType="{CT}spreadsheetml.worksheet+xml"/>'
    f'<Override PartName="/xl/styles.xml" ContentType="{CT}spreadsheetml.styles+xml"/>'
    '</Types>')
parts['_rels/.rels'] = DECL + (
    '<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">'
    f'<Relationship Id="rId1" Type="{REL}/officeDocument" Target="xl/workbook.xml"/></Relationships>')
parts['xl/workbook.xml'] = DECL + (
    f'<workbook {NS}><bookViews><workbookView/></bookViews>'
    '<sheets><sheet name="Data" sheetId="1" r:id="rId1"/></sheets><calcPr calcId="191029"/></workbook>')
parts['xl/_rels/workbook.xml.rels'] = DECL + (
    '<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">'
    f'<Relationship Id="rId1" Type="{REL}/worksheet" Target="worksheets/sheet1.xml"/>'
    f'<Relationship Id="rId2" Type="{REL}/styles" Target="styles.xml"/></Relationships>')

# Style formats: 0 Normal, 1 Comma (built in), 2.. the user's styles; style 2 shows dates.
style_xfs = ['<xf numFmtId="0" fontId="0" fillId="0" borderId="0"/>',
             '<xf numFmtId="43" fontId="0" fillId="0" borderId="0" applyNumberFormat="1"/>']
styles = ['<cellStyle name="Normal" xfId="0" builtinId="0"/>',
          '<cellStyle name="Comma" xfId="1" builtinId="3"/>']
for i in range(1, STYLES + 1):
    fmt = '164' if i == 1 else '0'
    style_xfs.append(f'<xf numFmtId="{fmt}" fontId="1" fillId="0" borderId="0" '
                     'applyNumberFormat="1" applyFont="1"/>')
    styles.append(f'<cellStyle name="Style {i}" xfId="{i + 1}"/>')
# Cell formats: 0 Normal; 1 uses Style 1 with apply flags off but values of its own; 2 uses
# Style 2 with formats of its own; 3 uses Comma.
cell_xfs = ['<xf numFmtId="0" fontId="0" fillId="0" borderId="0" xfId="0"/>',
            '<xf numFmtId="0" fontId="0" fillId="0" borderId="0" xfId="2" '
            'applyNumberFormat="0" applyFont="0"/>',
            '<xf numFmtId="10" fontId="1" fillId="0" borderId="0" xfId="3" applyNumberFormat="1"/>',
            '<xf numFmtId="43" fontId="0" fillId="0" borderId="0" xfId="1" applyNumberFormat="1"/>']
parts['xl/styles.xml'] = DECL + (
    f'<styleSheet {NS}>'
    '<numFmts count="1"><numFmt numFmtId="164" formatCode="yyyy&quot;年&quot;m&quot;月&quot;d&quot;日&quot;"/></numFmts>'
    '<fonts count="2"><font><sz val="11"/><name val="Calibri"/></font>'
    '<font><b/><sz val="11"/><name val="Calibri"/></font></fonts>'
    '<fills count="2"><fill><patternFill patternType="none"/></fill>'
    '<fill><patternFill patternType="gray125"/></fill></fills>'
    '<borders count="1"><border><left/><right/><top/><bottom/><diagonal/></border></borders>'
    f'<cellStyleXfs count="{len(style_xfs)}">' + ''.join(style_xfs) + '</cellStyleXfs>'
    f'<cellXfs count="{len(cell_xfs)}">' + ''.join(cell_xfs) + '</cellXfs>'
    f'<cellStyles count="{len(styles)}">' + ''.join(styles) + '</cellStyles>'
    '<dxfs count="0"/><tableStyles count="0"/></styleSheet>')
parts['xl/worksheets/sheet1.xml'] = DECL + (
    f'<worksheet {NS}><dimension ref="A1:B3"/><sheetViews><sheetView tabSelected="1" workbookViewId="0"/>'
    '</sheetViews><sheetFormatPr defaultRowHeight="15"/><sheetData>'
    '<row r="1"><c r="A1" s="1"><v>45000</v></c><c r="B1" s="2"><v>0.125</v></c></row>'
    '<row r="2"><c r="A2" s="3"><v>1234.5</v></c><c r="B2"><v>7</v></c></row>'
    '<row r="3" s="2" customFormat="1"><c r="A3" s="2"><v>0.5</v></c></row>'
    '</sheetData><pageMargins left="0.7" right="0.7" top="0.75" bottom="0.75" header="0.3" footer="0.3"/>'
    '</worksheet>')

with zipfile.ZipFile(sys.argv[1] if len(sys.argv) > 1 else 'styles.xlsx', 'w',
                     zipfile.ZIP_DEFLATED) as z:
    for name, text in parts.items():
        z.writestr(name, text)
