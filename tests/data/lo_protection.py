#!/usr/bin/python3
"""Opens a workbook in a headless LibreOffice and reports its protection as LibreOffice reads it:
for each sheet a line "<sheet>\t<protected 0|1>\t<edit refused 0|1>\t<unprotect result>", where
the edit is a change of A1's format through UNO and the unprotect result is "ok" or "refused" for
the password given, and a last line "book\t<structure protected 0|1>\t<unprotect result>".

usage: lo_protection.py FILE PASSWORD
"""
import sys

from lo_dump import lo_session, props, url


def edit_refused(sheet):
    """Changes the background colour of A1 through UNO. LibreOffice lets the API write cell
    text into a protected sheet, but refuses to format its cells: the colour stays (or the call
    fails)."""
    cell = sheet.getCellByPosition(0, 0)
    before = cell.getPropertyValue('CellBackColor')
    wanted = 0x123456 if before != 0x123456 else 0x654321
    try:
        cell.setPropertyValue('CellBackColor', wanted)
    except Exception:  # noqa: BLE001
        return '1'
    refused = cell.getPropertyValue('CellBackColor') != wanted
    if not refused:
        cell.setPropertyValue('CellBackColor', before)
    return '1' if refused else '0'


def unprotect(target, password):
    try:
        target.unprotect(password)
    except Exception:  # noqa: BLE001
        return 'refused'
    return 'ok' if not target.isProtected() else 'refused'


def main(path, password):
    try:
        office = lo_session.Office()
    except lo_session.StartError as e:
        print('!! soffice did not answer: %s' % e)
        return 2
    desktop = office.desktop
    doc = None
    try:
        doc = desktop.loadComponentFromURL(url(path), '_blank', 0,
                                           props(Hidden=True, MacroExecutionMode=0))
        if doc is None:
            print('!! %s\tnot opened' % path)
            return 1
        sheets = doc.getSheets()
        for i in range(sheets.getCount()):
            sheet = sheets.getByIndex(i)
            protected = sheet.isProtected()
            refused = edit_refused(sheet)
            result = unprotect(sheet, password) if protected else '-'
            print('%s\t%d\t%s\t%s' % (sheet.getName(), 1 if protected else 0, refused, result))
        protected = doc.isProtected()
        result = unprotect(doc, password) if protected else '-'
        print('book\t%d\t%s' % (1 if protected else 0, result))
    except Exception as e:  # noqa: BLE001
        print('!! %s\t%s' % (path, e))
    finally:
        if doc is not None:
            doc.close(True)
        office.close()
    sys.stdout.flush()
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1], sys.argv[2]))
