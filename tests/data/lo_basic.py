#!/usr/bin/python3
"""Opens workbooks in one headless LibreOffice (macros never run) and prints the Basic modules
that it imported from each one's VBA project: a line "== <file>" and then "<library>\t<module>"
per module, or "!! <file>\t<reason>" when LibreOffice cannot open it. Used by the tests to check
that a VBA project the engine wrote is read by another program.

usage: lo_basic.py FILE...
"""
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..', 'xl', 'office'))
import lo_session  # noqa: E402
from lo_session import props, url  # noqa: E402,F401


def main(files):
    try:
        office = lo_session.Office()
    except lo_session.StartError as e:
        print('!! soffice did not answer: %s' % e)
        return 2
    desktop = office.desktop
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
        office.close()
    sys.stdout.flush()
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
