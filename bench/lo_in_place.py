"""The LibreOffice side of the in-place benchmarks: one headless LibreOffice for the run, every
workbook of a folder loaded, edited by the caller and saved in place."""
import glob
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', 'tests', 'data'))
from lo_dump import lo_session, props, url  # noqa: E402


def edit_each_book(folder, edit):
    """Calls edit(doc) on every .xlsx of the folder and saves it in place; 2 when LibreOffice
    did not start, else 0."""
    try:
        office = lo_session.Office()
    except lo_session.StartError:
        return 2
    try:
        for path in sorted(glob.glob(os.path.join(folder, '*.xlsx'))):
            doc = office.desktop.loadComponentFromURL(url(path), '_blank', 0, props(Hidden=True))
            edit(doc)
            doc.storeToURL(url(path), props(FilterName='Calc Office Open XML'))
            doc.close(True)
    finally:
        office.close()
    return 0
