#!/usr/bin/python3
"""Opens workbooks in one headless LibreOffice, recalculates them, and prints every sheet: a line
"== <file>\t<sheet>" and then, for each cell that holds something, "<A1>\t<formula>\t<value>".
A file that LibreOffice cannot open prints "!! <file>\t<reason>". Used by the tests to check that
the engine's output is a valid workbook whose formulas compute what they should.

usage: lo_dump.py [--sheets-only] FILE...
With --sheets-only only the sheet lines are printed (whether LibreOffice opens the files).
"""
import os
import subprocess
import sys
import tempfile
import time

import uno
from com.sun.star.beans import PropertyValue


def props(**kw):
    out = []
    for k, v in kw.items():
        p = PropertyValue()
        p.Name, p.Value = k, v
        out.append(p)
    return tuple(out)


def url(path):
    return uno.systemPathToFileUrl(os.path.abspath(path))


def col_name(i):
    s = ''
    i += 1
    while i:
        i, r = divmod(i - 1, 26)
        s = chr(65 + r) + s
    return s


def main(files):
    sheets_only = bool(files) and files[0] == '--sheets-only'
    if sheets_only:
        files = files[1:]
    profile = tempfile.mkdtemp(prefix='lo-dump-')
    pipe = 'lodump%d' % os.getpid()
    proc = subprocess.Popen(
        ['soffice', '--headless', '--invisible', '--nologo', '--norestore', '--nodefault',
         '-env:UserInstallation=' + url(profile),
         '--accept=pipe,name=%s;urp;StarOffice.ComponentContext' % pipe],
        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    local = uno.getComponentContext()
    resolver = local.ServiceManager.createInstanceWithContext(
        'com.sun.star.bridge.UnoUrlResolver', local)
    for _ in range(1200):
        try:
            ctx = resolver.resolve('uno:pipe,name=%s;urp;StarOffice.ComponentContext' % pipe)
            break
        except Exception:
            time.sleep(0.05)
    else:
        print('!! soffice did not answer')
        return 2
    desktop = ctx.ServiceManager.createInstanceWithContext('com.sun.star.frame.Desktop', ctx)
    try:
        for path in files:
            doc = None
            try:
                doc = desktop.loadComponentFromURL(url(path), '_blank', 0, props(Hidden=True))
                if doc is None or not hasattr(doc, 'Sheets'):
                    print('!! %s\tnot a spreadsheet' % path)
                    continue
                if not sheets_only:
                    doc.calculateAll()
                sheets = doc.Sheets
                for i in range(sheets.Count):
                    sh = sheets.getByIndex(i)
                    print('== %s\t%s' % (path, sh.Name))
                    if sheets_only:
                        continue
                    cur = sh.createCursor()
                    cur.gotoEndOfUsedArea(False)
                    last_col = cur.RangeAddress.EndColumn
                    last_row = cur.RangeAddress.EndRow
                    for r in range(last_row + 1):
                        for c in range(last_col + 1):
                            cell = sh.getCellByPosition(c, r)
                            f = cell.getFormula()
                            if f == '':
                                continue
                            print('%s%d\t%s\t%s' % (col_name(c), r + 1, f, cell.getString()))
            except Exception as e:  # noqa: BLE001
                print('!! %s\t%s' % (path, e))
            finally:
                if doc is not None:
                    doc.close(True)
    finally:
        try:
            desktop.terminate()
        except Exception:
            pass
        try:
            proc.wait(timeout=30)
        except subprocess.TimeoutExpired:
            proc.kill()
    sys.stdout.flush()
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
