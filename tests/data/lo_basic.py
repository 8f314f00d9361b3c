#!/usr/bin/python3
"""Opens workbooks in one headless LibreOffice (macros never run) and prints the Basic modules
that it imported from each one's VBA project: a line "== <file>" and then "<library>\t<module>"
per module, or "!! <file>\t<reason>" when LibreOffice cannot open it. Used by the tests to check
that a VBA project the engine wrote is read by another program.

usage: lo_basic.py FILE...
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


def main(files):
    profile = tempfile.mkdtemp(prefix='lo-basic-')
    pipe = 'lobasic%d' % os.getpid()
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
                doc = desktop.loadComponentFromURL(url(path), '_blank', 0,
                                                   props(Hidden=True, MacroExecutionMode=0))
                if doc is None:
                    print('!! %s\tnot opened' % path)
                    continue
                print('== %s' % path)
                libs = doc.BasicLibraries
                for name in libs.getElementNames():
                    libs.loadLibrary(name)
                    lib = libs.getByName(name)
                    for module in lib.getElementNames():
                        print('%s\t%s' % (name, module))
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
