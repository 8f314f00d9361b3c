#!/usr/bin/python3
"""Makes a workbook whose formulas reach across sheets, through defined names, 3-D ranges and
whole columns, saves it as OUT.xlsx, and finds by brute force which formula cells depend on each
input cell: the input is changed, everything is recalculated, and the formula cells whose value
changed are the ones that depend on it. Prints one line per input: "Sheet!A1<TAB>Sheet!B2 ..."
(sorted). Exits 2 when LibreOffice could not do its part.

usage: lo_dependents.py OUT.xlsx
"""
import sys

from lo_dump import lo_session, props, url

# (sheet, cell, content): numbers are inputs, texts starting with "=" formulas (Excel syntax).
CELLS = [
    ('Data', 'A2', 1), ('Data', 'A3', 2), ('Data', 'A4', 3), ('Data', 'A5', 4),
    ('Data', 'B1', 0.1), ('Data', 'C1', 7), ('Data', 'D9', 5),
    ('Calc', 'A1', '=SUM(Inputs)'),
    ('Calc', 'A2', '=Data!A2*Rate'),
    ('Calc', 'A3', '=A1+A2'),
    ('Calc', 'B1', '=Data!C1*2'),
    ('Calc', 'C1', '=SUM(Data!B:B)'),
    ('Calc', 'D1', '=Total*2'),
    ('Sum 2', 'A1', '=SUM(Data:Calc!A2)'),
    ('Sum 2', 'A2', "=Calc!A3+'Sum 2'!A1"),
    ('Sum 2', 'B1', '=Data!D9+1'),
    ('Sum 2', 'B2', '=B1*Calc!B1'),
]
NAMES = [('Rate', '$Data.$B$1'), ('Inputs', '$Data.$A$2:$A$5'), ('Total', '$Calc.$A$3')]


def cell_at(doc, sheet, address):
    return doc.Sheets.getByName(sheet).getCellRangeByName(address)


def formula_values(doc):
    doc.calculateAll()
    return {(s, a): cell_at(doc, s, a).getValue() for s, a, c in CELLS if isinstance(c, str)}


def main(args):
    out = args[0]
    try:
        office = lo_session.Office()
    except lo_session.StartError as e:
        print('!! soffice did not answer: %s' % e)
        return 2
    desktop = office.desktop
    try:
        doc = desktop.loadComponentFromURL('private:factory/scalc', '_blank', 0,
                                           props(Hidden=True))
        sheets = doc.Sheets
        first = sheets.getByIndex(0)
        first.Name = 'Data'
        sheets.insertNewByName('Calc', 1)
        sheets.insertNewByName('Sum 2', 2)
        from com.sun.star.table import CellAddress
        for name, content in NAMES:
            doc.NamedRanges.addNewByName(name, content, CellAddress(0, 0, 0), 0)
        # Formulas are read in Excel's A1 syntax by the document's formula parser.
        from com.sun.star.sheet.AddressConvention import XL_A1
        parser = doc.createInstance('com.sun.star.sheet.FormulaParser')
        parser.FormulaConvention = XL_A1
        order = {'Data': 0, 'Calc': 1, 'Sum 2': 2}
        for s, a, c in CELLS:
            cell = cell_at(doc, s, a)
            if isinstance(c, str):
                at = cell.getCellAddress()
                cell.setTokens(parser.parseFormula(c[1:], CellAddress(order[s], at.Column,
                                                                      at.Row)))
            else:
                cell.setValue(c)
        doc.storeToURL(url(out), props(FilterName='Calc MS Excel 2007 XML'))
        base = formula_values(doc)
        for s, a, c in CELLS:
            if isinstance(c, str):
                continue
            cell = cell_at(doc, s, a)
            cell.setValue(c * 7 + 13)
            now = formula_values(doc)
            cell.setValue(c)
            changed = sorted('%s!%s' % k for k in now if now[k] != base[k])
            print('\t'.join(['%s!%s' % (s, a)] + changed))
        for k, v in sorted(base.items()):
            if v != v:  # NaN: a formula LibreOffice could not read
                print('!! %s!%s does not calculate' % k)
                return 2
        doc.close(True)
    finally:
        office.close()
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
