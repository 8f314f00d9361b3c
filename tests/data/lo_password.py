#!/usr/bin/python3
"""Opens an encrypted workbook in headless LibreOffice with and without its password and prints
"with: <A1 of the first sheet>" and "without: refused" (or the cell when it opened anyway).

usage: lo_password.py FILE PASSWORD
"""
import os
import subprocess
import sys
import tempfile
import time

import uno

from lo_dump import props, url


def main(path, password):
    profile = tempfile.mkdtemp(prefix='lo-password-')
    pipe = 'lopw%d' % os.getpid()
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
    sys.exit(main(sys.argv[1], sys.argv[2]))
