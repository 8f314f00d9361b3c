#!/usr/bin/python3
"""Opens an encrypted workbook in headless LibreOffice with and without its password and prints
"with: <A1 of the first sheet>" and "without: refused" (or the cell when it opened anyway).
With --modify, opens a workbook that has a password to modify and prints "<A1>, read-only" or
"<A1>, editable": headless LibreOffice asks for no password to modify and opens such a workbook
read-only, which shows that it read the password.

usage: lo_password.py FILE PASSWORD
       lo_password.py --modify FILE
"""
import sys

from lo_dump import lo_session, props, url


def modify(path):
    try:
        office = lo_session.Office()
    except lo_session.StartError as e:
        print('!! soffice did not answer: %s' % e)
        return 2
    try:
        doc = office.desktop.loadComponentFromURL(url(path), '_blank', 0, props(Hidden=True))
        if doc is None or not hasattr(doc, 'Sheets'):
            print('refused')
        else:
            cell = doc.Sheets.getByIndex(0).getCellByPosition(0, 0).getString()
            print('%s, %s' % (cell, 'read-only' if doc.isReadonly() else 'editable'))
            doc.close(True)
    except Exception:  # noqa: BLE001
        print('refused')
    finally:
        office.close()
    sys.stdout.flush()
    return 0


def main(path, password):
    try:
        office = lo_session.Office()
    except lo_session.StartError as e:
        print('!! soffice did not answer: %s' % e)
        return 2
    desktop = office.desktop
    try:
        for label, extra in (('with', {'Password': password}), ('without', {})):
            doc = None
            try:
                doc = desktop.loadComponentFromURL(url(path), '_blank', 0,
                                                   props(Hidden=True, **extra))
                if doc is None or not hasattr(doc, 'Sheets'):
                    print('%s: refused' % label)
                else:
                    print('%s: %s' % (label, doc.Sheets.getByIndex(0).getCellByPosition(0, 0).getString()))
            except Exception:  # noqa: BLE001
                print('%s: refused' % label)
            finally:
                if doc is not None:
                    doc.close(True)
    finally:
        office.close()
    sys.stdout.flush()
    return 0


if __name__ == '__main__':
    if sys.argv[1] == '--modify':
        sys.exit(modify(sys.argv[2]))
    sys.exit(main(sys.argv[1], sys.argv[2]))
