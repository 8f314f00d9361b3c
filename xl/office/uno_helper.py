"""The program's LibreOffice helper: one per run, started by xl/office/libreoffice.cpp.

It starts one private headless LibreOffice (lo_session.Office) in its work folder and answers
requests, one line each on stdin, fields separated by tabs (a backslash escapes a tab, a line
break or itself). Every answer is one line: "ok" with fields, or "err" and LibreOffice's message.
At start it answers "ready", or "fail" and the reason. When the office dies it answers "fatal" and
ends, so that the program starts a new one for the next file.

It watches its parent: when the program ends without saying "quit" (killed, crashed), the helper
kills its own process group, the office included, so that no LibreOffice is left running.

usage: uno_helper.py WORKDIR
"""
import os
import signal
import sys
import threading
import time


def unescape(field):
    out, i = [], 0
    while i < len(field):
        c = field[i]
        if c == '\\' and i + 1 < len(field):
            n = field[i + 1]
            out.append({'t': '\t', 'n': '\n', 'r': '\r'}.get(n, n))
            i += 2
        else:
            out.append(c)
            i += 1
    return ''.join(out)


def escape(text):
    return (text.replace('\\', '\\\\').replace('\t', '\\t').replace('\n', '\\n')
            .replace('\r', '\\r'))


def answer(*fields):
    sys.stdout.write('\t'.join(escape(str(f)) for f in fields) + '\n')
    sys.stdout.flush()


def take_group_down():
    os.killpg(0, signal.SIGKILL)


def watch_parent(parent):
    while True:
        time.sleep(0.2)
        if os.getppid() != parent:
            take_group_down()


def message_of(e):
    text = getattr(e, 'Message', '') or str(e) or type(e).__name__
    return ' '.join(text.split())


def main(argv):
    workdir = argv[1]
    threading.Thread(target=watch_parent, args=(os.getppid(),), daemon=True).start()
    try:
        import lo_session
    except ImportError as e:
        answer('fail', 'python3-uno: ' + message_of(e))
        return 1
    try:
        office = lo_session.Office(workdir, own_group=False)
    except Exception as e:  # noqa: BLE001
        answer('fail', message_of(e))
        return 1
    import office_requests
    handlers = office_requests.handlers(office)
    answer('ready')
    for line in sys.stdin:
        fields = [unescape(f) for f in line.rstrip('\n').split('\t')]
        if fields[0] == 'quit':
            break
        handler = handlers.get(fields[0])
        if handler is None:
            answer('err', 'unknown request ' + fields[0])
            continue
        try:
            answer('ok', *handler(*fields[1:]))
        except Exception as e:  # noqa: BLE001
            if not office.alive():
                answer('fatal', message_of(e))
                return 2
            answer('err', message_of(e))
    else:
        # The input ended without "quit": the program is gone.
        take_group_down()
    office.close()
    return 0


if __name__ == '__main__':
    sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
    try:
        code = main(sys.argv)
    except BaseException:
        # A broken pipe to a killed program ends the helper here, before the watcher thread
        # (which a long office call may keep from running) sees the parent go.
        take_group_down()
        raise
    sys.exit(code)
