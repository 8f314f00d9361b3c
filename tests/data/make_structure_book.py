#!/usr/bin/env python3
"""Writes structure.xlsx: a small workbook whose sheets refer to each other in every place a
sheet name can stand (cell formulas, 3-D references, defined names global and local, print area,
data validation, conditional formatting, an internal hyperlink, a chart series and title), with a
table, a comment, styles, merged cells, column widths and a hidden sheet. The sheet-structure tests
rename, insert, delete, move and copy sheets of it."""

import sys
import zipfile

NS = ('xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main" '
      'xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships"')
DECL = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\r\n'
REL = 'http://schemas.openxmlformats.org/officeDocument/2006/relationships'
PKG_REL = 'http://schemas.openxmlformats.org/package/2006/relationships'
CT = 'application/vnd.openxmlformats-officedocument.'

parts = {}

parts['[Content_Types].xml'] = DECL + (
    '<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">'
    '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
    '<Default Extension="xml" ContentType="application/xml"/>'
    '<Default Extension="vml" ContentType="application/vnd.openxmlformats-officedocument.vmlDrawing"/>'
    f'<Override PartName="/xl/workbook.xml" ContentType="{CT}spreadsheetml.sheet.main+xml"/>'
    f'<Override PartName="/xl/worksheets/sheet1.xml" ContentType="{CT}spreadsheetml.worksheet+xml"/>'
    f'<Override PartName="/xl/worksheets/sheet2.xml" ContentType="{CT}spreadsheetml.worksheet+xml"/>'
    f'<Override PartName="/xl/worksheets/sheet3.xml" ContentType="{CT}spreadsheetml.worksheet+xml"/>'
    f'<Override PartName="/xl/worksheets/sheet4.xml" ContentType="{CT}spreadsheetml.worksheet+xml"/>'
    f'<Override PartName="/xl/theme/theme1.xml" ContentType="{CT}theme+xml"/>'
    f'<Override PartName="/xl/styles.xml" ContentType="{CT}spreadsheetml.styles+xml"/>'
    f'<Override PartName="/xl/sharedStrings.xml" ContentType="{CT}spreadsheetml.sharedStrings+xml"/>'
    f'<Override PartName="/xl/calcChain.xml" ContentType="{CT}spreadsheetml.calcChain+xml"/>'
    f'<Override PartName="/xl/comments1.xml" ContentType="{CT}spreadsheetml.comments+xml"/>'
    f'<Override PartName="/xl/tables/table1.xml" ContentType="{CT}spreadsheetml.table+xml"/>'
    f'<Override PartName="/xl/drawings/drawing1.xml" ContentType="{CT}drawing+xml"/>'
    f'<Override PartName="/xl/charts/chart1.xml" ContentType="{CT}drawingml.chart+xml"/>'
    f'<Override PartName="/docProps/core.xml" ContentType="application/vnd.openxmlformats-package.core-properties+xml"/>'
    f'<Override PartName="/docProps/app.xml" ContentType="{CT}extended-properties+xml"/>'
    '</Types>')

parts['_rels/.rels'] = DECL + (
    f'<Relationships xmlns="{PKG_REL}">'
    f'<Relationship Id="rId3" Type="{REL}/extended-properties" Target="docProps/app.xml"/>'
    '<Relationship Id="rId2" Type="http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties" Target="docProps/core.xml"/>'
    f'<Relationship Id="rId1" Type="{REL}/officeDocument" Target="xl/workbook.xml"/>'
    '</Relationships>')

parts['docProps/app.xml'] = DECL + (
    '<Properties xmlns="http://schemas.openxmlformats.org/officeDocument/2006/extended-properties" '
    'xmlns:vt="http://schemas.openxmlformats.org/officeDocument/2006/docPropsVTypes">'
    '<Application>Microsoft Excel</Application>'
    '<HeadingPairs><vt:vector size="4" baseType="variant">'
    '<vt:variant><vt:lpstr>ワークシート</vt:lpstr></vt:variant><vt:variant><vt:i4>4</vt:i4></vt:variant>'
    '<vt:variant><vt:lpstr>名前付き一覧</vt:lpstr></vt:variant><vt:variant><vt:i4>1</vt:i4></vt:variant>'
    '</vt:vector></HeadingPairs>'
    '<TitlesOfParts><vt:vector size="5" baseType="lpstr">'
    '<vt:lpstr>Data</vt:lpstr><vt:lpstr>My Sheet</vt:lpstr><vt:lpstr>Summary</vt:lpstr>'
    '<vt:lpstr>Hidden</vt:lpstr><vt:lpstr>Summary!Print_Area</vt:lpstr>'
    '</vt:vector></TitlesOfParts></Properties>')

parts['docProps/core.xml'] = DECL + (
    '<cp:coreProperties xmlns:cp="http://schemas.openxmlformats.org/package/2006/metadata/core-properties" '
    'xmlns:dc="http://purl.org/dc/elements/1.1/" xmlns:dcterms="http://purl.org/dc/terms/" '
    'xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">'
    '<dc:creator>sheaflow</dc:creator>'
    '<dcterms:created xsi:type="dcterms:W3CDTF">2024-01-01T00:00:00Z</dcterms:created>'
    '</cp:coreProperties>')

parts['xl/workbook.xml'] = DECL + (
    f'<workbook {NS}>'
    '<workbookPr defaultThemeVersion="124226"/>'
    '<bookViews><workbookView xWindow="240" yWindow="15" windowWidth="16095" windowHeight="9660" activeTab="2"/></bookViews>'
    '<sheets>'
    '<sheet name="Data" sheetId="1" r:id="rId1"/>'
    '<sheet name="My Sheet" sheetId="2" r:id="rId2"/>'
    '<sheet name="Summary" sheetId="5" r:id="rId3"/>'
    '<sheet name="Hidden" sheetId="4" state="hidden" r:id="rId4"/>'
    '</sheets>'
    '<definedNames>'
    '<definedName name="_xlnm.Print_Area" localSheetId="2">Summary!$A$1:$B$4</definedName>'
    '<definedName name="LocalName" localSheetId="1">\'My Sheet\'!$B$2:$B$3</definedName>'
    '<definedName name="Total">Summary!$A$1</definedName>'
    '</definedNames>'
    '<calcPr calcId="145621"/>'
    '</workbook>')

parts['xl/_rels/workbook.xml.rels'] = DECL + (
    f'<Relationships xmlns="{PKG_REL}">'
    f'<Relationship Id="rId8" Type="{REL}/calcChain" Target="calcChain.xml"/>'
    f'<Relationship Id="rId3" Type="{REL}/worksheet" Target="worksheets/sheet3.xml"/>'
    f'<Relationship Id="rId7" Type="{REL}/sharedStrings" Target="sharedStrings.xml"/>'
    f'<Relationship Id="rId2" Type="{REL}/worksheet" Target="worksheets/sheet2.xml"/>'
    f'<Relationship Id="rId1" Type="{REL}/worksheet" Target="worksheets/sheet1.xml"/>'
    f'<Relationship Id="rId6" Type="{REL}/styles" Target="styles.xml"/>'
    f'<Relationship Id="rId5" Type="{REL}/theme" Target="theme/theme1.xml"/>'
    f'<Relationship Id="rId4" Type="{REL}/worksheet" Target="worksheets/sheet4.xml"/>'
    '</Relationships>')

strings = ['x', 'Name', 'Qty', 'a', 'b', 'hidden text']
parts['xl/sharedStrings.xml'] = DECL + (
    f'<sst xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main" count="{len(strings)}" uniqueCount="{len(strings)}">'
    + ''.join(f'<si><t>{s}</t></si>' for s in strings) + '</sst>')

parts['xl/styles.xml'] = DECL + (
    '<styleSheet xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main">'
    '<numFmts count="1"><numFmt numFmtId="164" formatCode="0.000"/></numFmts>'
    '<fonts count="2"><font><sz val="11"/><color theme="1"/><name val="Calibri"/><family val="2"/><scheme val="minor"/></font>'
    '<font><b/><sz val="11"/><color rgb="FFFF0000"/><name val="Calibri"/><family val="2"/><scheme val="minor"/></font></fonts>'
    '<fills count="3"><fill><patternFill patternType="none"/></fill><fill><patternFill patternType="gray125"/></fill>'
    '<fill><patternFill patternType="solid"><fgColor rgb="FFFFFF00"/><bgColor indexed="64"/></patternFill></fill></fills>'
    '<borders count="2"><border><left/><right/><top/><bottom/><diagonal/></border>'
    '<border><left style="thin"><color indexed="64"/></left><right/><top/><bottom style="thin"><color indexed="64"/></bottom><diagonal/></border></borders>'
    '<cellStyleXfs count="1"><xf numFmtId="0" fontId="0" fillId="0" borderId="0"/></cellStyleXfs>'
    '<cellXfs count="3"><xf numFmtId="0" fontId="0" fillId="0" borderId="0" xfId="0"/>'
    '<xf numFmtId="164" fontId="1" fillId="0" borderId="0" xfId="0" applyNumberFormat="1" applyFont="1"/>'
    '<xf numFmtId="0" fontId="0" fillId="2" borderId="1" xfId="0" applyFill="1" applyBorder="1"/></cellXfs>'
    '<cellStyles count="1"><cellStyle name="Normal" xfId="0" builtinId="0"/></cellStyles>'
    '<dxfs count="1"><dxf><font><color rgb="FF9C0006"/></font><fill><patternFill><bgColor rgb="FFFFC7CE"/></patternFill></fill></dxf></dxfs>'
    '<tableStyles count="0" defaultTableStyle="TableStyleMedium9" defaultPivotStyle="PivotStyleLight16"/>'
    '</styleSheet>')


def sheet(body, before_data='', after_data='', selected=False, rels=None):
    tab = ' tabSelected="1"' if selected else ''
    return DECL + (f'<worksheet {NS}>' + before_data +
                   f'<sheetViews><sheetView{tab} workbookViewId="0"/></sheetViews>'
                   '<sheetFormatPr defaultRowHeight="15"/>' + body + after_data + '</worksheet>')


parts['xl/worksheets/sheet1.xml'] = sheet(
    '<cols><col min="1" max="1" width="20.7109375" customWidth="1"/></cols>'
    '<sheetData>'
    '<row r="1" ht="30" customHeight="1"><c r="A1" s="1"><v>1</v></c><c r="B1" t="s"><v>0</v></c><c r="C1" s="2"/></row>'
    '<row r="2"><c r="A2"><v>2</v></c></row>'
    '<row r="3"><c r="A3"><v>3</v></c></row>'
    '<row r="4"><c r="A4"><f>SUM(A1:A3)</f><v>6</v></c><c r="B4" t="str"><f>"Data!A1"</f><v>Data!A1</v></c></row>'
    '</sheetData>'
    '<mergeCells count="1"><mergeCell ref="C1:D1"/></mergeCells>'
    '<pageMargins left="0.7" right="0.7" top="0.75" bottom="0.75" header="0.3" footer="0.3"/>'
    '<legacyDrawing r:id="rId1"/>',
    before_data='<sheetPr codeName="Sheet1"/><dimension ref="A1:D4"/>')
parts['xl/worksheets/_rels/sheet1.xml.rels'] = DECL + (
    f'<Relationships xmlns="{PKG_REL}">'
    f'<Relationship Id="rId2" Type="{REL}/comments" Target="../comments1.xml"/>'
    f'<Relationship Id="rId1" Type="{REL}/vmlDrawing" Target="../drawings/vmlDrawing1.vml"/>'
    '</Relationships>')
parts['xl/comments1.xml'] = DECL + (
    '<comments xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main">'
    '<authors><author>sheaflow</author></authors><commentList>'
    '<comment ref="A1" authorId="0"><text><r><t>first value</t></r></text></comment>'
    '</commentList></comments>')
parts['xl/drawings/vmlDrawing1.vml'] = (
    '<xml xmlns:v="urn:schemas-microsoft-com:vml" xmlns:o="urn:schemas-microsoft-com:office:office" '
    'xmlns:x="urn:schemas-microsoft-com:office:excel">'
    '<o:shapelayout v:ext="edit"><o:idmap v:ext="edit" data="1"/></o:shapelayout>'
    '<v:shapetype id="_x0000_t202" coordsize="21600,21600" o:spt="202" path="m,l,21600r21600,l21600,xe">'
    '<v:stroke joinstyle="miter"/><v:path gradientshapeok="t" o:connecttype="rect"/></v:shapetype>'
    '<v:shape id="_x0000_s1025" type="#_x0000_t202" style="position:absolute;margin-left:59.25pt;'
    'margin-top:1.5pt;width:108pt;height:59.25pt;z-index:1;visibility:hidden" fillcolor="#ffffe1" o:insetmode="auto">'
    '<v:fill color2="#ffffe1"/><v:shadow on="t" color="black" obscured="t"/><v:path o:connecttype="none"/>'
    '<v:textbox style="mso-direction-alt:auto"><div style="text-align:left"></div></v:textbox>'
    '<x:ClientData ObjectType="Note"><x:MoveWithCells/><x:SizeWithCells/>'
    '<x:Anchor>1, 15, 0, 2, 3, 15, 3, 16</x:Anchor><x:AutoFill>False</x:AutoFill>'
    '<x:Row>0</x:Row><x:Column>0</x:Column></x:ClientData></v:shape></xml>')

parts['xl/worksheets/sheet2.xml'] = sheet(
    '<sheetData>'
    '<row r="1"><c r="A1" t="s"><v>1</v></c><c r="B1" t="s"><v>2</v></c><c r="C1"><f>Data!A1*2</f><v>2</v></c></row>'
    '<row r="2"><c r="A2" t="s"><v>3</v></c><c r="B2"><v>10</v></c></row>'
    '<row r="3"><c r="A3" t="s"><v>4</v></c><c r="B3"><v>20</v></c></row>'
    '</sheetData>'
    '<conditionalFormatting sqref="B2:B3"><cfRule type="expression" dxfId="0" priority="1">'
    '<formula>B2&gt;Data!$A$1</formula></cfRule></conditionalFormatting>'
    '<dataValidations count="1"><dataValidation type="list" allowBlank="1" showInputMessage="1" showErrorMessage="1" sqref="D1">'
    '<formula1>Data!$A$1:$A$3</formula1></dataValidation></dataValidations>'
    '<hyperlinks><hyperlink ref="D2" location="Data!A1" display="to data"/></hyperlinks>'
    '<pageMargins left="0.7" right="0.7" top="0.75" bottom="0.75" header="0.3" footer="0.3"/>'
    '<tableParts count="1"><tablePart r:id="rId1"/></tableParts>',
    before_data='<sheetPr codeName="Sheet2"/><dimension ref="A1:C3"/>')
parts['xl/worksheets/_rels/sheet2.xml.rels'] = DECL + (
    f'<Relationships xmlns="{PKG_REL}">'
    f'<Relationship Id="rId1" Type="{REL}/table" Target="../tables/table1.xml"/>'
    '</Relationships>')
parts['xl/tables/table1.xml'] = DECL + (
    '<table xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main" id="1" name="Table1" '
    'displayName="Table1" ref="A1:B3" totalsRowShown="0"><autoFilter ref="A1:B3"/>'
    '<tableColumns count="2"><tableColumn id="1" name="Name"/><tableColumn id="2" name="Qty"/></tableColumns>'
    '<tableStyleInfo name="TableStyleMedium9" showFirstColumn="0" showLastColumn="0" showRowStripes="1" showColumnStripes="0"/>'
    '</table>')

parts['xl/worksheets/sheet3.xml'] = sheet(
    '<sheetData>'
    "<row r=\"1\"><c r=\"A1\"><f>SUM(Data!A1:A3)+'My Sheet'!B2</f><v>16</v></c><c r=\"B1\"><f>Total*2</f><v>32</v></c></row>"
    "<row r=\"2\"><c r=\"A2\"><f>SUM(Data:'My Sheet'!A2)</f><v>2</v></c></row>"
    '<row r="3"><c r="A3"><f>SUM(Table1[Qty])</f><v>30</v></c></row>'
    '<row r="4"><c r="A4"><f>Hidden!A1</f><v>7</v></c></row>'
    '</sheetData>'
    '<pageMargins left="0.7" right="0.7" top="0.75" bottom="0.75" header="0.3" footer="0.3"/>'
    '<drawing r:id="rId1"/>',
    before_data='<sheetPr codeName="Sheet3"/><dimension ref="A1:B4"/>', selected=True)
parts['xl/worksheets/_rels/sheet3.xml.rels'] = DECL + (
    f'<Relationships xmlns="{PKG_REL}">'
    f'<Relationship Id="rId1" Type="{REL}/drawing" Target="../drawings/drawing1.xml"/>'
    '</Relationships>')
parts['xl/drawings/drawing1.xml'] = DECL + (
    '<xdr:wsDr xmlns:xdr="http://schemas.openxmlformats.org/drawingml/2006/spreadsheetDrawing" '
    'xmlns:a="http://schemas.openxmlformats.org/drawingml/2006/main">'
    '<xdr:twoCellAnchor><xdr:from><xdr:col>3</xdr:col><xdr:colOff>0</xdr:colOff><xdr:row>1</xdr:row><xdr:rowOff>0</xdr:rowOff></xdr:from>'
    '<xdr:to><xdr:col>9</xdr:col><xdr:colOff>0</xdr:colOff><xdr:row>15</xdr:row><xdr:rowOff>0</xdr:rowOff></xdr:to>'
    '<xdr:graphicFrame macro=""><xdr:nvGraphicFramePr><xdr:cNvPr id="2" name="Chart 1"/><xdr:cNvGraphicFramePr/></xdr:nvGraphicFramePr>'
    '<xdr:xfrm><a:off x="0" y="0"/><a:ext cx="0" cy="0"/></xdr:xfrm>'
    '<a:graphic><a:graphicData uri="http://schemas.openxmlformats.org/drawingml/2006/chart">'
    f'<c:chart xmlns:c="http://schemas.openxmlformats.org/drawingml/2006/chart" xmlns:r="{REL}" r:id="rId1"/>'
    '</a:graphicData></a:graphic></xdr:graphicFrame><xdr:clientData/></xdr:twoCellAnchor></xdr:wsDr>')
parts['xl/drawings/_rels/drawing1.xml.rels'] = DECL + (
    f'<Relationships xmlns="{PKG_REL}">'
    f'<Relationship Id="rId1" Type="{REL}/chart" Target="../charts/chart1.xml"/>'
    '</Relationships>')
parts['xl/charts/chart1.xml'] = DECL + (
    '<c:chartSpace xmlns:c="http://schemas.openxmlformats.org/drawingml/2006/chart" '
    'xmlns:a="http://schemas.openxmlformats.org/drawingml/2006/main" '
    f'xmlns:r="{REL}"><c:chart>'
    '<c:title><c:tx><c:strRef><c:f>Data!$B$1</c:f><c:strCache><c:ptCount val="1"/><c:pt idx="0"><c:v>x</c:v></c:pt></c:strCache></c:strRef></c:tx><c:overlay val="0"/></c:title>'
    '<c:autoTitleDeleted val="0"/><c:plotArea><c:layout/>'
    '<c:barChart><c:barDir val="col"/><c:grouping val="clustered"/><c:varyColors val="0"/>'
    '<c:ser><c:idx val="0"/><c:order val="0"/>'
    "<c:cat><c:strRef><c:f>'My Sheet'!$A$2:$A$3</c:f><c:strCache><c:ptCount val=\"2\"/><c:pt idx=\"0\"><c:v>a</c:v></c:pt><c:pt idx=\"1\"><c:v>b</c:v></c:pt></c:strCache></c:strRef></c:cat>"
    "<c:val><c:numRef><c:f>'My Sheet'!$B$2:$B$3</c:f><c:numCache><c:formatCode>General</c:formatCode><c:ptCount val=\"2\"/><c:pt idx=\"0\"><c:v>10</c:v></c:pt><c:pt idx=\"1\"><c:v>20</c:v></c:pt></c:numCache></c:numRef></c:val>"
    '</c:ser><c:axId val="1"/><c:axId val="2"/></c:barChart>'
    '<c:catAx><c:axId val="1"/><c:scaling><c:orientation val="minMax"/></c:scaling><c:delete val="0"/><c:axPos val="b"/><c:crossAx val="2"/></c:catAx>'
    '<c:valAx><c:axId val="2"/><c:scaling><c:orientation val="minMax"/></c:scaling><c:delete val="0"/><c:axPos val="l"/><c:crossAx val="1"/></c:valAx>'
    '</c:plotArea><c:plotVisOnly val="1"/></c:chart></c:chartSpace>')

parts['xl/worksheets/sheet4.xml'] = sheet(
    '<sheetData><row r="1"><c r="A1"><v>7</v></c><c r="B1" t="s"><v>5</v></c></row></sheetData>'
    '<pageMargins left="0.7" right="0.7" top="0.75" bottom="0.75" header="0.3" footer="0.3"/>',
    before_data='<sheetPr codeName="Sheet4"/><dimension ref="A1:B1"/>')

parts['xl/calcChain.xml'] = DECL + (
    '<calcChain xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main">'
    '<c r="A1" i="3"/><c r="B1"/><c r="A2"/><c r="A3"/><c r="A4"/><c r="C1" i="2"/><c r="A4" i="1"/><c r="B4"/>'
    '</calcChain>')

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

out = sys.argv[1] if len(sys.argv) > 1 else 'structure.xlsx'
order = ['[Content_Types].xml', '_rels/.rels'] + [p for p in parts if p not in ('[Content_Types].xml', '_rels/.rels')]
with zipfile.ZipFile(out, 'w', zipfile.ZIP_DEFLATED) as z:
    for name in order:
        info = zipfile.ZipInfo(name, date_time=(2024, 1, 1, 0, 0, 0))
        info.compress_type = zipfile.ZIP_DEFLATED
        z.writestr(info, parts[name].encode('utf-8'))
