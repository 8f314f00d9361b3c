#!/usr/bin/python3
"""LibreOffice (headless, Python-UNO) peer of the split job: every sheet of a workbook copied
into a new document of its own (importSheet) and stored as OUTDIR/<stem>-<sheet>.xlsx.

usage: lo_split.py FILE OUTDIR    (run with Debian's /usr/bin/python3, package python3-uno)
The office helpers come from the shared peers folder (SHARED_BENCH/peers/lo_uno.py).
"""
import os
import sys

sys.path.insert(0, os.path.join(os.environ.get('SHARED_BENCH', os.path.join(
    os.path.dirname(os.path.abspath(__file__)), '..', '..', 'shared', 'bench')), 'peers'))
from lo_uno import Office, props, url, stem  # noqa: E402


def main(path, out_dir):
    os.makedirs(out_dir, exist_ok=True)
    office = Office()
    try:
        doc = office.load(path)
        names = [doc.Sheets.getByIndex(i).Name for i in range(doc.Sheets.Count)]
        for name in names:
            piece = office.new_calc()
            piece.Sheets.importSheet(doc, name, 0)
            while piece.Sheets.Count > 1:
                piece.Sheets.removeByName(piece.Sheets.getByIndex(1).Name)
            out = os.path.join(out_dir, '%s-%s.xlsx' % (stem(path), name))
            piece.storeToURL(url(out), props(FilterName='Calc MS Excel 2007 XML'))
            piece.close(True)
        doc.close(True)
    finally:
        office.close()
    return 0


if __name__ == '__main__':
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        sys.exit(2)
    sys.exit(main(sys.argv[1], sys.argv[2]))
