#!/usr/bin/env python3
"""Writes controls.xlsx: a workbook whose first sheet "Controls" holds the objects that live in
both drawings and in the sheet part: a form check box (a control properties part), an ActiveX
command button (an ActiveX part kept as a property bag) and an embedded workbook (an OLE object
with its properties' anchor), each with its hidden shape in the drawing part and its VML shape;
the second sheet "Empty" holds nothing."""

import io
import struct
import sys
import zipfile
import zlib

DECL = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\r\n'
MAIN = 'http://schemas.openxmlformats.org/spreadsheetml/2006/main'
REL = 'http://schemas.openxmlformats.org/officeDocument/2006/relationships'
PKG_REL = 'http://schemas.openxmlformats.org/package/2006/relationships'
CT = 'application/vnd.openxmlformats-officedocument.'
MC = 'http://schemas.openxmlformats.org/markup-compatibility/2006'
XDR_NS = 'http://schemas.openxmlformats.org/drawingml/2006/spreadsheetDrawing'
A_NS = 'http://schemas.openxmlformats.org/drawingml/2006/main'
X14 = 'http://schemas.microsoft.com/office/spreadsheetml/2009/9/main'


def png(rgb):
    """A 4x4 PNG of one colour."""
    raw = b''.join(b'\x00' + bytes(rgb) * 4 for _ in range(4))
    def chunk(kind, data):
        return (struct.pack('>I', len(data)) + kind + data +
                struct.pack('>I', zlib.crc32(kind + data) & 0xffffffff))
    return (b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', struct.pack('>IIBBBBB', 4, 4, 8, 2, 0, 0, 0)) +
            chunk(b'IDAT', zlib.compress(raw)) + chunk(b'IEND', b''))


def rels(items):
    out = f'<Relationships xmlns="{PKG_REL}">'
    for rid, kind, target in items:
        out += f'<Relationship Id="{rid}" Type="{kind}" Target="{target}"/>'
    return DECL + out + '</Relationships>'


def small_workbook():
    """The embedded workbook: one sheet, one number."""
    b = io.BytesIO()
    with zipfile.ZipFile(b, 'w', zipfile.ZIP_DEFLATED) as z:
        z.writestr('[Content_Types].xml', DECL + (
            '<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">'
            '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
            '<Default Extension="xml" ContentType="application/xml"/>'
            f'<Override PartName="/xl/workbook.xml" ContentType="{CT}spreadsheetml.sheet.main+xml"/>'
            f'<Override PartName="/xl/worksheets/sheet1.xml" ContentType="{CT}spreadsheetml.worksheet+xml"/>'
            '</Types>'))
        z.writestr('_rels/.rels', rels([('rId1', f'{REL}/officeDocument', 'xl/workbook.xml')]))
        z.writestr('xl/workbook.xml', DECL + f'<workbook xmlns="{MAIN}" xmlns:r="{REL}"><sheets>'
                   '<sheet name="Inner" sheetId="1" r:id="rId1"/></sheets></workbook>')
        z.writestr('xl/_rels/workbook.xml.rels',
                   rels([('rId1', f'{REL}/worksheet', 'worksheets/sheet1.xml')]))
        z.writestr('xl/worksheets/sheet1.xml', DECL + f'<worksheet xmlns="{MAIN}"><sheetData>'
                   '<row r="1"><c r="A1"><v>42</v></c></row></sheetData></worksheet>')
    return b.getvalue()


def marker(tag, col, row, prefix='xdr:'):
    return (f'<{tag}><{prefix}col>{col}</{prefix}col><{prefix}colOff>0</{prefix}colOff>'
            f'<{prefix}row>{row}</{prefix}row><{prefix}rowOff>0</{prefix}rowOff></{tag}>')


def anchor(c0, r0, c1, r1):
    return f'<anchor moveWithCells="1">{marker("from", c0, r0)}{marker("to", c1, r1)}</anchor>'


# Shape number, name, anchor (columns and rows from 0).
CHECK = (1025, 'Check Box 1', (1, 1, 4, 3))
BUTTON = (1026, 'CommandButton1', (1, 4, 4, 7))
OBJECT = (1027, 'Object 3', (1, 8, 4, 13))


def hidden_shape(number, name, box):
    c0, r0, c1, r1 = box
    return (f'<mc:AlternateContent xmlns:mc="{MC}"><mc:Choice xmlns:a14='
            '"http://schemas.microsoft.com/office/drawing/2010/main" Requires="a14">'
            '<xdr:twoCellAnchor editAs="oneCell">' + marker('xdr:from', c0, r0) +
            marker('xdr:to', c1, r1) + '<xdr:sp macro="" textlink=""><xdr:nvSpPr>'
            f'<xdr:cNvPr id="{number}" name="{name}" hidden="1"><a:extLst>'
            '<a:ext uri="{63B3BB69-23CF-44E3-9099-C40C66FF867C}">'
            f'<a14:compatExt spid="_x0000_s{number}"/></a:ext></a:extLst></xdr:cNvPr>'
            '<xdr:cNvSpPr/></xdr:nvSpPr><xdr:spPr><a:xfrm><a:off x="0" y="0"/>'
            '<a:ext cx="0" cy="0"/></a:xfrm><a:prstGeom prst="rect"><a:avLst/></a:prstGeom>'
            '</xdr:spPr></xdr:sp><xdr:clientData/></xdr:twoCellAnchor></mc:Choice>'
            '<mc:Fallback/></mc:AlternateContent>')


def vml_anchor(box):
    c0, r0, c1, r1 = box
    return f'<x:Anchor>\r\n    {c0}, 0, {r0}, 0, {c1}, 0, {r1}, 0</x:Anchor>'


def style(box, z):
    c0, r0, c1, r1 = box
    return (f"position:absolute;margin-left:{48 * c0}pt;margin-top:{15 * r0}pt;"
            f"width:{48 * (c1 - c0)}pt;height:{15 * (r1 - r0)}pt;z-index:{z}")


parts = {}
parts['[Content_Types].xml'] = DECL + (
    '<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">'
    '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
    '<Default Extension="xml" ContentType="application/xml"/>'
    '<Default Extension="png" ContentType="image/png"/>'
    f'<Default Extension="vml" ContentType="{CT}vmlDrawing"/>'
    f'<Default Extension="xlsx" ContentType="{CT}spreadsheetml.sheet"/>'
    f'<Override PartName="/xl/workbook.xml" ContentType="{CT}spreadsheetml.sheet.main+xml"/>'
    f'<Override PartName="/xl/worksheets/sheet1.xml" ContentType="{CT}spreadsheetml.worksheet+xml"/>'
    f'<Override PartName="/xl/worksheets/sheet2.xml" ContentType="{CT}spreadsheetml.worksheet+xml"/>'
    f'<Override PartName="/xl/styles.xml" ContentType="{CT}spreadsheetml.styles+xml"/>'
    f'<Override PartName="/xl/drawings/drawing1.xml" ContentType="{CT}drawing+xml"/>'
    '<Override PartName="/xl/ctrlProps/ctrlProp1.xml" ContentType="application/vnd.ms-excel.controlproperties+xml"/>'
    '<Override PartName="/xl/activeX/activeX1.xml" ContentType="application/vnd.ms-office.activeX+xml"/>'
    '</Types>')
parts['_rels/.rels'] = rels([('rId1', f'{REL}/officeDocument', 'xl/workbook.xml')])
parts['xl/workbook.xml'] = DECL + (
    f'<workbook xmlns="{MAIN}" xmlns:r="{REL}"><bookViews><workbookView/></bookViews><sheets>'
    '<sheet name="Controls" sheetId="1" r:id="rId1"/><sheet name="Empty" sheetId="2" r:id="rId2"/>'
    '</sheets></workbook>')
parts['xl/_rels/workbook.xml.rels'] = rels([
    ('rId1', f'{REL}/worksheet', 'worksheets/sheet1.xml'),
    ('rId2', f'{REL}/worksheet', 'worksheets/sheet2.xml'),
    ('rId3', f'{REL}/styles', 'styles.xml')])
parts['xl/styles.xml'] = DECL + (
    f'<styleSheet xmlns="{MAIN}"><fonts count="1"><font><sz val="11"/><name val="Calibri"/></font>'
    '</fonts><fills count="2"><fill><patternFill patternType="none"/></fill><fill>'
    '<patternFill patternType="gray125"/></fill></fills><borders count="1"><border><left/><right/>'
    '<top/><bottom/><diagonal/></border></borders><cellStyleXfs count="1"><xf numFmtId="0" '
    'fontId="0" fillId="0" borderId="0"/></cellStyleXfs><cellXfs count="1"><xf numFmtId="0" '
    'fontId="0" fillId="0" borderId="0" xfId="0"/></cellXfs><cellStyles count="1"><cellStyle '
    'name="Normal" xfId="0" builtinId="0"/></cellStyles></styleSheet>')

entry_head = '<mc:AlternateContent><mc:Choice Requires="x14">'
parts['xl/worksheets/sheet1.xml'] = DECL + (
    f'<worksheet xmlns="{MAIN}" xmlns:r="{REL}" xmlns:xdr="{XDR_NS}" xmlns:x14="{X14}" '
    f'xmlns:mc="{MC}"><dimension ref="A1"/><sheetViews><sheetView tabSelected="1" '
    'workbookViewId="0"/></sheetViews><sheetFormatPr defaultRowHeight="15"/><sheetData>'
    '<row r="1"><c r="A1" t="b"><v>1</v></c></row></sheetData>'
    '<pageMargins left="0.7" right="0.7" top="0.75" bottom="0.75" header="0.3" footer="0.3"/>'
    '<drawing r:id="rId1"/><legacyDrawing r:id="rId2"/>'
    '<oleObjects>' + entry_head +
    f'<oleObject progId="Excel.Sheet.12" shapeId="{OBJECT[0]}" r:id="rId3">'
    f'<objectPr defaultSize="0" autoPict="0" r:id="rId4">{anchor(*OBJECT[2])}</objectPr>'
    '</oleObject></mc:Choice><mc:Fallback>'
    f'<oleObject progId="Excel.Sheet.12" shapeId="{OBJECT[0]}" r:id="rId3"/></mc:Fallback>'
    '</mc:AlternateContent></oleObjects>'
    '<controls>' + entry_head +
    f'<control shapeId="{CHECK[0]}" r:id="rId5" name="{CHECK[1]}"><controlPr defaultSize="0" '
    f'autoFill="0" autoLine="0" autoPict="0">{anchor(*CHECK[2])}</controlPr></control>'
    '</mc:Choice></mc:AlternateContent>' + entry_head +
    f'<control shapeId="{BUTTON[0]}" r:id="rId6" name="{BUTTON[1]}"><controlPr defaultSize="0" '
    f'autoLine="0" r:id="rId7">{anchor(*BUTTON[2])}</controlPr></control></mc:Choice>'
    f'<mc:Fallback><control shapeId="{BUTTON[0]}" r:id="rId6" name="{BUTTON[1]}"/>'
    '</mc:Fallback></mc:AlternateContent></controls></worksheet>')
parts['xl/worksheets/_rels/sheet1.xml.rels'] = rels([
    ('rId1', f'{REL}/drawing', '../drawings/drawing1.xml'),
    ('rId2', f'{REL}/vmlDrawing', '../drawings/vmlDrawing1.vml'),
    ('rId3', f'{REL}/package', '../embeddings/Microsoft_Excel_Worksheet.xlsx'),
    ('rId4', f'{REL}/image', '../media/image1.png'),
    ('rId5', f'{REL}/ctrlProp', '../ctrlProps/ctrlProp1.xml'),
    ('rId6', f'{REL}/control', '../activeX/activeX1.xml'),
    ('rId7', f'{REL}/image', '../media/image2.png')])
parts['xl/worksheets/sheet2.xml'] = DECL + (
    f'<worksheet xmlns="{MAIN}" xmlns:r="{REL}"><dimension ref="A1"/><sheetViews><sheetView '
    'workbookViewId="0"/></sheetViews><sheetFormatPr defaultRowHeight="15"/><sheetData/>'
    '<pageMargins left="0.7" right="0.7" top="0.75" bottom="0.75" header="0.3" footer="0.3"/>'
    '</worksheet>')
parts['xl/drawings/drawing1.xml'] = DECL + (
    f'<xdr:wsDr xmlns:xdr="{XDR_NS}" xmlns:a="{A_NS}">' + hidden_shape(*CHECK) +
    hidden_shape(*BUTTON) + hidden_shape(*OBJECT) + '</xdr:wsDr>')
parts['xl/drawings/vmlDrawing1.vml'] = (
    '<xml xmlns:v="urn:schemas-microsoft-com:vml"\r\n'
    ' xmlns:o="urn:schemas-microsoft-com:office:office"\r\n'
    ' xmlns:x="urn:schemas-microsoft-com:office:excel">\r\n'
    ' <o:shapelayout v:ext="edit">\r\n  <o:idmap v:ext="edit" data="1"/>\r\n </o:shapelayout>'
    '<v:shapetype id="_x0000_t201" coordsize="21600,21600" o:spt="201"\r\n'
    '  path="m,l,21600r21600,l21600,xe">\r\n  <v:stroke joinstyle="miter"/>\r\n'
    '  <v:path shadowok="f" o:extrusionok="f" strokeok="f" fillok="f" o:connecttype="rect"/>\r\n'
    '  <o:lock v:ext="edit" shapetype="t"/>\r\n </v:shapetype>'
    '<v:shapetype id="_x0000_t75" coordsize="21600,21600" o:spt="75"\r\n'
    '  o:preferrelative="t" path="m@4@5l@4@11@9@11@9@5xe" filled="f" stroked="f">\r\n'
    '  <v:stroke joinstyle="miter"/>\r\n  <v:path o:extrusionok="f" gradientshapeok="t" '
    'o:connecttype="rect"/>\r\n  <o:lock v:ext="edit" aspectratio="t"/>\r\n </v:shapetype>'
    f'<v:shape id="_x0000_s{CHECK[0]}" type="#_x0000_t201" style=\'{style(CHECK[2], 1)}\'\r\n'
    '  filled="f" stroked="f" o:insetmode="auto">\r\n'
    "  <v:textbox style='mso-direction-alt:auto' o:singleclick=\"f\">\r\n"
    "   <div style='text-align:left'><font face=\"Calibri\" size=\"220\" color=\"#000000\">"
    'Check</font></div>\r\n  </v:textbox>\r\n  <x:ClientData ObjectType="Checkbox">\r\n'
    f'   {vml_anchor(CHECK[2])}\r\n   <x:AutoFill>False</x:AutoFill>\r\n'
    '   <x:AutoLine>False</x:AutoLine>\r\n   <x:TextVAlign>Center</x:TextVAlign>\r\n'
    '   <x:FmlaLink>$A$1</x:FmlaLink>\r\n   <x:Checked>1</x:Checked>\r\n   <x:NoThreeD/>\r\n'
    '  </x:ClientData>\r\n </v:shape>'
    f'<v:shape id="{BUTTON[1]}" o:spid="_x0000_s{BUTTON[0]}" type="#_x0000_t75"\r\n'
    f"  style='{style(BUTTON[2], 2)}' filled=\"f\"\r\n  stroked=\"f\" o:insetmode=\"auto\">\r\n"
    '  <v:imagedata o:relid="rId1" o:title=""/>\r\n  <o:lock v:ext="edit" aspectratio="f"/>\r\n'
    '  <x:ClientData ObjectType="Pict">\r\n   <x:SizeWithCells/>\r\n'
    f'   {vml_anchor(BUTTON[2])}\r\n   <x:CF>Pict</x:CF>\r\n   <x:AutoPict/>\r\n'
    '  </x:ClientData>\r\n </v:shape>'
    f'<v:shape id="_x0000_s{OBJECT[0]}" type="#_x0000_t75" style=\'{style(OBJECT[2], 3)}\'\r\n'
    '  filled="t" fillcolor="window [65]" stroked="t" strokecolor="windowText [64]"\r\n'
    '  o:insetmode="auto">\r\n  <v:fill color2="window [65]"/>\r\n'
    '  <v:imagedata o:relid="rId2" o:title=""/>\r\n  <x:ClientData ObjectType="Pict">\r\n'
    f'   <x:SizeWithCells/>\r\n   {vml_anchor(OBJECT[2])}\r\n   <x:CF>Pict</x:CF>\r\n'
    '   <x:AutoPict/>\r\n  </x:ClientData>\r\n </v:shape></xml>')
parts['xl/drawings/_rels/vmlDrawing1.vml.rels'] = rels([
    ('rId1', f'{REL}/image', '../media/image2.png'),
    ('rId2', f'{REL}/image', '../media/image1.png')])
parts['xl/ctrlProps/ctrlProp1.xml'] = DECL + (
    f'<formControlPr xmlns="{X14}" objectType="CheckBox" checked="Checked" fmlaLink="$A$1" '
    'lockText="1" noThreeD="1"/>')
parts['xl/activeX/activeX1.xml'] = DECL + (
    '<ax:ocx ax:classid="{D7053240-CE69-11CD-A777-00DD01143C57}" ax:persistence="persistPropertyBag" '
    f'xmlns:ax="http://schemas.microsoft.com/office/2006/activeX" xmlns:r="{REL}">'
    '<ax:ocxPr ax:name="Caption" ax:value="OK"/><ax:ocxPr ax:name="Size" ax:value="2540;635"/>'
    '</ax:ocx>')
parts['xl/media/image1.png'] = png((40, 120, 200))
parts['xl/media/image2.png'] = png((220, 220, 220))
parts['xl/embeddings/Microsoft_Excel_Worksheet.xlsx'] = small_workbook()

out = sys.argv[1] if len(sys.argv) > 1 else 'controls.xlsx'
with zipfile.ZipFile(out, 'w', zipfile.ZIP_DEFLATED) as z:
    for name, data in parts.items():
        z.writestr(name, data)
