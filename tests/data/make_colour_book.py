#!/usr/bin/env python3
"""Writes colours.xlsx: a workbook whose first (active) sheet has colours in every place the
colour operations look (fonts, solid and patterned fills, borders, a conditional format, the tab,
a comment's text and box, shapes), some in the palettes and some not, given as RGB, theme colours
with a tint and indexed colours; the second sheet shares a cell format with it. The first sheet
also carries one object of each kind (comment, hyperlink, shape, group, picture, chart) for the
object operations."""

import base64
import sys
import zipfile

NS = ('xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main" '
      'xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships"')
DECL = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\r\n'
REL = 'http://schemas.openxmlformats.org/officeDocument/2006/relationships'
PKG_REL = 'http://schemas.openxmlformats.org/package/2006/relationships'
CT = 'application/vnd.openxmlformats-officedocument.'
XDR = ('xmlns:xdr="http://schemas.openxmlformats.org/drawingml/2006/spreadsheetDrawing" '
       'xmlns:a="http://schemas.openxmlformats.org/drawingml/2006/main" '
       f'xmlns:r="{REL}"')

parts = {}
parts['[Content_Types].xml'] = DECL + (
    '<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">'
    '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
    '<Default Extension="xml" ContentType="application/xml"/>'
    '<Default Extension="png" ContentType="image/png"/>'
    '<Default Extension="vml" ContentType="application/vnd.openxmlformats-officedocument.vmlDrawing"/>'
    f'<Override PartName="/xl/workbook.xml" ContentType="{CT}spreadsheetml.sheet.main+xml"/>'
    f'<Override PartName="/xl/worksheets/sheet1.xml" ContentType="{CT}spreadsheetml.worksheet+xml"/>'
    f'<Override PartName="/xl/worksheets/sheet2.xml" ContentType="{CT}spreadsheetml.worksheet+xml"/>'
    f'<Override PartName="/xl/theme/theme1.xml" ContentType="{CT}theme+xml"/>'
    f'<Override PartName="/xl/styles.xml" ContentType="{CT}spreadsheetml.styles+xml"/>'
    f'<Override PartName="/xl/comments1.xml" ContentType="{CT}spreadsheetml.comments+xml"/>'
    f'<Override PartName="/xl/drawings/drawing1.xml" ContentType="{CT}drawing+xml"/>'
    f'<Override PartName="/xl/charts/chart1.xml" ContentType="{CT}drawingml.chart+xml"/>'
    '</Types>')
parts['_rels/.rels'] = DECL + (
    f'<Relationships xmlns="{PKG_REL}">'
    f'<Relationship Id="rId1" Type="{REL}/officeDocument" Target="xl/workbook.xml"/>'
    '</Relationships>')
parts['xl/workbook.xml'] = DECL + (
    f'<workbook {NS}><workbookPr/>'
    '<bookViews><workbookView xWindow="240" yWindow="15" windowWidth="16095" windowHeight="9660"/></bookViews>'
    '<sheets><sheet name="Colours" sheetId="1" r:id="rId1"/><sheet name="Other" sheetId="2" r:id="rId2"/></sheets>'
    '<calcPr calcId="145621"/></workbook>')
parts['xl/_rels/workbook.xml.rels'] = DECL + (
    f'<Relationships xmlns="{PKG_REL}">'
    f'<Relationship Id="rId1" Type="{REL}/worksheet" Target="worksheets/sheet1.xml"/>'
    f'<Relationship Id="rId2" Type="{REL}/worksheet" Target="worksheets/sheet2.xml"/>'
    f'<Relationship Id="rId3" Type="{REL}/styles" Target="styles.xml"/>'
    f'<Relationship Id="rId4" Type="{REL}/theme" Target="theme/theme1.xml"/>'
    '</Relationships>')

# Fonts: 0 theme 1 (black, in both palettes), 1 FAFAFA (not), 2 accent1 with a tint (not),
# 3 indexed 10 (red, in both). Fills: 2 solid 123456, 3 a pattern red on 010101.
# Borders: 1 left 0000FE and diagonal-down 010203.
parts['xl/styles.xml'] = DECL + (
    '<styleSheet xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main">'
    '<fonts count="4"><font><sz val="11"/><color theme="1"/><name val="Calibri"/></font>'
    '<font><sz val="11"/><color rgb="FFFAFAFA"/><name val="Calibri"/></font>'
    '<font><b/><sz val="11"/><color theme="4" tint="0.39997558519241921"/><name val="Calibri"/></font>'
    '<font><sz val="11"/><color indexed="10"/><name val="Calibri"/></font></fonts>'
    '<fills count="4"><fill><patternFill patternType="none"/></fill><fill><patternFill patternType="gray125"/></fill>'
    '<fill><patternFill patternType="solid"><fgColor rgb="FF123456"/><bgColor indexed="64"/></patternFill></fill>'
    '<fill><patternFill patternType="darkGrid"><fgColor rgb="FFFF0000"/><bgColor rgb="FF010101"/></patternFill></fill></fills>'
    '<borders count="2"><border><left/><right/><top/><bottom/><diagonal/></border>'
    '<border diagonalDown="1"><left style="thin"><color rgb="FF0000FE"/></left><right/><top/>'
    '<bottom style="thin"><color auto="1"/></bottom><diagonal style="thin"><color rgb="FF010203"/></diagonal></border></borders>'
    '<cellStyleXfs count="1"><xf numFmtId="0" fontId="0" fillId="0" borderId="0"/></cellStyleXfs>'
    '<cellXfs count="5"><xf numFmtId="0" fontId="0" fillId="0" borderId="0" xfId="0"/>'
    '<xf numFmtId="0" fontId="1" fillId="0" borderId="0" xfId="0" applyFont="1"/>'
    '<xf numFmtId="0" fontId="0" fillId="2" borderId="1" xfId="0" applyFill="1" applyBorder="1"/>'
    '<xf numFmtId="0" fontId="2" fillId="0" borderId="0" xfId="0" applyFont="1"/>'
    '<xf numFmtId="0" fontId="3" fillId="3" borderId="0" xfId="0" applyFont="1" applyFill="1"/></cellXfs>'
    '<cellStyles count="1"><cellStyle name="Normal" xfId="0" builtinId="0"/></cellStyles>'
    '<dxfs count="1"><dxf><font><color rgb="FF9C0006"/></font><fill><patternFill><bgColor rgb="FFFFC7CE"/></patternFill></fill></dxf></dxfs>'
    '</styleSheet>')


def sheet(before, body, after):
    return DECL + (f'<worksheet {NS}>' + before +
                   '<sheetViews><sheetView workbookViewId="0"/></sheetViews>'
                   '<sheetFormatPr defaultRowHeight="15"/>' + body + after + '</worksheet>')


parts['xl/worksheets/sheet1.xml'] = sheet(
    '<sheetPr><tabColor rgb="FF00FF01"/></sheetPr><dimension ref="A1:D2"/>',
    '<sheetData>'
    '<row r="1"><c r="A1" s="1"><v>1</v></c><c r="B1" s="2"><v>2</v></c><c r="C1" s="3"><v>3</v></c><c r="D1" s="4"><v>4</v></c></row>'
    '<row r="2"><c r="A2" s="1"><v>5</v></c></row>'
    '</sheetData>'
    '<conditionalFormatting sqref="A1:A2"><cfRule type="cellIs" dxfId="0" priority="1" operator="greaterThan">'
    '<formula>2</formula></cfRule></conditionalFormatting>'
    '<hyperlinks><hyperlink ref="C3" r:id="rId4"/></hyperlinks>',
    '<pageMargins left="0.7" right="0.7" top="0.75" bottom="0.75" header="0.3" footer="0.3"/>'
    '<drawing r:id="rId3"/><legacyDrawing r:id="rId1"/>')
parts['xl/worksheets/_rels/sheet1.xml.rels'] = DECL + (
    f'<Relationships xmlns="{PKG_REL}">'
    f'<Relationship Id="rId1" Type="{REL}/vmlDrawing" Target="../drawings/vmlDrawing1.vml"/>'
    f'<Relationship Id="rId2" Type="{REL}/comments" Target="../comments1.xml"/>'
    f'<Relationship Id="rId3" Type="{REL}/drawing" Target="../drawings/drawing1.xml"/>'
    f'<Relationship Id="rId4" Type="{REL}/hyperlink" Target="https://example.com/a/b" TargetMode="External"/>'
    '</Relationships>')
parts['xl/comments1.xml'] = DECL + (
    '<comments xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main">'
    '<authors><author>sheaflow</author></authors><commentList>'
    '<comment ref="B2" authorId="0"><text><r><rPr><sz val="9"/><color rgb="FFFA0000"/></rPr><t>note text</t></r>'
    '<r><rPr><sz val="9"/><color indexed="81"/></rPr><t> more</t></r></text></comment>'
    '</commentList></comments>')
parts['xl/drawings/vmlDrawing1.vml'] = (
    '<xml xmlns:v="urn:schemas-microsoft-com:vml" xmlns:o="urn:schemas-microsoft-com:office:office" '
    'xmlns:x="urn:schemas-microsoft-com:office:excel">'
    '<o:shapelayout v:ext="edit"><o:idmap v:ext="edit" data="1"/></o:shapelayout>'
    '<v:shapetype id="_x0000_t202" coordsize="21600,21600" o:spt="202" path="m,l,21600r21600,l21600,xe">'
    '<v:stroke joinstyle="miter"/><v:path gradientshapeok="t" o:connecttype="rect"/></v:shapetype>'
    '<v:shape id="_x0000_s1025" type="#_x0000_t202" style="position:absolute;margin-left:59.25pt;'
    'margin-top:1.5pt;width:108pt;height:59.25pt;z-index:1;visibility:hidden" fillcolor="#ffffe1 [80]" '
    'strokecolor="infoText [81]" o:insetmode="auto">'
    '<v:fill color2="#ffffe1"/><v:shadow on="t" color="black" obscured="t"/><v:path o:connecttype="none"/>'
    '<v:textbox style="mso-direction-alt:auto"><div style="text-align:left"></div></v:textbox>'
    '<x:ClientData ObjectType="Note"><x:MoveWithCells/><x:SizeWithCells/>'
    '<x:Anchor>2, 15, 0, 2, 4, 15, 3, 16</x:Anchor><x:AutoFill>False</x:AutoFill>'
    '<x:Row>1</x:Row><x:Column>1</x:Column></x:ClientData></v:shape></xml>')


def anchor(c1, r1, c2, r2, body):
    return ('<xdr:twoCellAnchor>'
            f'<xdr:from><xdr:col>{c1}</xdr:col><xdr:colOff>0</xdr:colOff><xdr:row>{r1}</xdr:row><xdr:rowOff>0</xdr:rowOff></xdr:from>'
            f'<xdr:to><xdr:col>{c2}</xdr:col><xdr:colOff>0</xdr:colOff><xdr:row>{r2}</xdr:row><xdr:rowOff>0</xdr:rowOff></xdr:to>'
            + body + '<xdr:clientData/></xdr:twoCellAnchor>')


def shape(sid, name, x, y, cx, cy, fill, text=''):
    tx = ''
    if text:
        tx = ('<xdr:txBody><a:bodyPr/><a:lstStyle/><a:p><a:r><a:rPr lang="ja-JP"><a:solidFill><a:srgbClr val="FF0000"/></a:solidFill></a:rPr>'
              f'<a:t>{text}</a:t></a:r></a:p></xdr:txBody>')
    return (f'<xdr:sp macro="" textlink=""><xdr:nvSpPr><xdr:cNvPr id="{sid}" name="{name}"/><xdr:cNvSpPr/></xdr:nvSpPr>'
            f'<xdr:spPr><a:xfrm><a:off x="{x}" y="{y}"/><a:ext cx="{cx}" cy="{cy}"/></a:xfrm><a:prstGeom prst="rect"><a:avLst/></a:prstGeom>'
            f'<a:solidFill>{fill}</a:solidFill><a:ln w="9525"><a:solidFill><a:schemeClr val="accent1"><a:shade val="50000"/></a:schemeClr></a:solidFill></a:ln></xdr:spPr>'
            + tx + '</xdr:sp>')


# 1 inch = 914400 EMU = 72 pt: Rectangle 1 is 2 x 1 inches (144 x 72 pt).
parts['xl/drawings/drawing1.xml'] = DECL + (
    f'<xdr:wsDr {XDR}>'
    + anchor(1, 3, 3, 7, shape(2, 'Rectangle 1', 609600, 571500, 1828800, 914400,
                               '<a:srgbClr val="123457"/>', 'box/text'))
    + anchor(5, 3, 7, 7,
             '<xdr:grpSp><xdr:nvGrpSpPr><xdr:cNvPr id="3" name="Group 3"/><xdr:cNvGrpSpPr/></xdr:nvGrpSpPr>'
             '<xdr:grpSpPr><a:xfrm><a:off x="3048000" y="571500"/><a:ext cx="914400" cy="914400"/>'
             '<a:chOff x="3048000" y="571500"/><a:chExt cx="914400" cy="914400"/></a:xfrm></xdr:grpSpPr>'
             + shape(4, 'Member 4', 3048000, 571500, 457200, 457200, '<a:srgbClr val="FEFEFE"/>')
             + shape(5, 'Member 5', 3505200, 1028700, 457200, 457200, '<a:schemeClr val="accent2"/>')
             + '</xdr:grpSp>')
    + anchor(1, 9, 2, 11,
             '<xdr:pic><xdr:nvPicPr><xdr:cNvPr id="6" name="Picture 6"/><xdr:cNvPicPr/></xdr:nvPicPr>'
             '<xdr:blipFill><a:blip r:embed="rId1"/><a:stretch><a:fillRect/></a:stretch></xdr:blipFill>'
             '<xdr:spPr><a:xfrm><a:off x="609600" y="1714500"/><a:ext cx="457200" cy="381000"/></a:xfrm>'
             '<a:prstGeom prst="rect"><a:avLst/></a:prstGeom></xdr:spPr></xdr:pic>')
    + anchor(4, 9, 8, 20,
             '<xdr:graphicFrame macro=""><xdr:nvGraphicFramePr><xdr:cNvPr id="7" name="Chart 7"/><xdr:cNvGraphicFramePr/></xdr:nvGraphicFramePr>'
             '<xdr:xfrm><a:off x="0" y="0"/><a:ext cx="0" cy="0"/></xdr:xfrm>'
             '<a:graphic><a:graphicData uri="http://schemas.openxmlformats.org/drawingml/2006/chart">'
             f'<c:chart xmlns:c="http://schemas.openxmlformats.org/drawingml/2006/chart" r:id="rId2"/>'
             '</a:graphicData></a:graphic></xdr:graphicFrame>')
    + '</xdr:wsDr>')
parts['xl/drawings/_rels/drawing1.xml.rels'] = DECL + (
    f'<Relationships xmlns="{PKG_REL}">'
    f'<Relationship Id="rId1" Type="{REL}/image" Target="../media/image1.png"/>'
    f'<Relationship Id="rId2" Type="{REL}/chart" Target="../charts/chart1.xml"/>'
    '</Relationships>')
parts['xl/charts/chart1.xml'] = DECL + (
    '<c:chartSpace xmlns:c="http://schemas.openxmlformats.org/drawingml/2006/chart" '
    'xmlns:a="http://schemas.openxmlformats.org/drawingml/2006/main" '
    f'xmlns:r="{REL}"><c:chart><c:autoTitleDeleted val="1"/><c:plotArea><c:layout/>'
    '<c:barChart><c:barDir val="col"/><c:grouping val="clustered"/><c:varyColors val="0"/>'
    '<c:ser><c:idx val="0"/><c:order val="0"/>'
    '<c:val><c:numRef><c:f>Colours!$A$1:$D$1</c:f><c:numCache><c:formatCode>General</c:formatCode><c:ptCount val="4"/>'
    '<c:pt idx="0"><c:v>1</c:v></c:pt><c:pt idx="1"><c:v>2</c:v></c:pt><c:pt idx="2"><c:v>3</c:v></c:pt><c:pt idx="3"><c:v>4</c:v></c:pt></c:numCache></c:numRef></c:val>'
    '</c:ser><c:axId val="1"/><c:axId val="2"/></c:barChart>'
    '<c:catAx><c:axId val="1"/><c:scaling><c:orientation val="minMax"/></c:scaling><c:delete val="0"/><c:axPos val="b"/><c:crossAx val="2"/></c:catAx>'
    '<c:valAx><c:axId val="2"/><c:scaling><c:orientation val="minMax"/></c:scaling><c:delete val="0"/><c:axPos val="l"/><c:crossAx val="1"/></c:valAx>'
    '</c:plotArea><c:plotVisOnly val="1"/></c:chart></c:chartSpace>')
# A 1x1 red PNG.
parts['xl/media/image1.png'] = base64.b64decode(
    'iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8DwHwAFBQIAX8jx0gAAAABJRU5ErkJggg==')

parts['xl/worksheets/sheet2.xml'] = sheet(
    '<dimension ref="A1"/>',
    '<sheetData><row r="1"><c r="A1" s="1"><v>9</v></c></row></sheetData>',
    '<pageMargins left="0.7" right="0.7" top="0.75" bottom="0.75" header="0.3" footer="0.3"/>')

parts['xl/theme/theme1.xml'] = DECL + (
    '<a:theme xmlns:a="http://schemas.openxmlformats.org/drawingml/2006/main" name="Office Theme"><a:themeElements>'
    '<a:clrScheme name="Office"><a:dk1><a:sysClr val="windowText" lastClr="000000"/></a:dk1><a:lt1><a:sysClr val="window" lastClr="FFFFFF"/></a:lt1>'
    '<a:dk2><a:srgbClr val="1F497D"/></a:dk2><a:lt2><a:srgbClr val="EEECE1"/></a:lt2><a:accent1><a:srgbClr val="4F81BD"/></a:accent1>'
    '<a:accent2><a:srgbClr val="C0504D"/></a:accent2><a:accent3><a:srgbClr val="9BBB59"/></a:accent3><a:accent4><a:srgbClr val="8064A2"/></a:accent4>'
    '<a:accent5><a:srgbClr val="4BACC6"/></a:accent5><a:accent6><a:srgbClr val="F79646"/></a:accent6><a:hlink><a:srgbClr val="0000FF"/></a:hlink>'
    '<a:folHlink><a:srgbClr val="800080"/></a:folHlink></a:clrScheme>'
    '<a:fontScheme name="Office"><a:majorFont><a:latin typeface="Cambria"/><a:ea typeface=""/><a:cs typeface=""/></a:majorFont>'
    '<a:minorFont><a:latin typeface="Calibri"/><a:ea typeface=""/><a:cs typeface=""/></a:minorFont></a:fontScheme>'
    '<a:fmtScheme name="Office"><a:fillStyleLst><a:solidFill><a:schemeClr val="phClr"/></a:solidFill><a:solidFill><a:schemeClr val="phClr"/></a:solidFill><a:solidFill><a:schemeClr val="phClr"/></a:solidFill></a:fillStyleLst>'
    '<a:lnStyleLst><a:ln w="9525"><a:solidFill><a:schemeClr val="phClr"/></a:solidFill></a:ln><a:ln w="25400"><a:solidFill><a:schemeClr val="phClr"/></a:solidFill></a:ln><a:ln w="38100"><a:solidFill><a:schemeClr val="phClr"/></a:solidFill></a:ln></a:lnStyleLst>'
    '<a:effectStyleLst><a:effectStyle><a:effectLst/></a:effectStyle><a:effectStyle><a:effectLst/></a:effectStyle><a:effectStyle><a:effectLst/></a:effectStyle></a:effectStyleLst>'
    '<a:bgFillStyleLst><a:solidFill><a:schemeClr val="phClr"/></a:solidFill><a:solidFill><a:schemeClr val="phClr"/></a:solidFill><a:solidFill><a:schemeClr val="phClr"/></a:solidFill></a:bgFillStyleLst>'
    '</a:fmtScheme></a:themeElements></a:theme>')

out = sys.argv[1] if len(sys.argv) > 1 else 'colours.xlsx'
order = ['[Content_Types].xml', '_rels/.rels'] + [p for p in parts if p not in ('[Content_Types].xml', '_rels/.rels')]
with zipfile.ZipFile(out, 'w', zipfile.ZIP_DEFLATED) as z:
    for name in order:
        info = zipfile.ZipInfo(name, date_time=(2024, 1, 1, 0, 0, 0))
        info.compress_type = zipfile.ZIP_DEFLATED
        data = parts[name]
        z.writestr(info, data if isinstance(data, bytes) else data.encode('utf-8'))
