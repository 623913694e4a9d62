"""A real mail server for the tests: prints its port, then each mail it takes as one line of JSON.

    mail_sink.py [CERTIFICATE KEY]      with files, mail is taken over STARTTLS only
"""

import json
import ssl
import sys
import threading

from aiosmtpd.controller import Controller


class Sink:
    async def handle_DATA(self, server, session, envelope):
        if "refused@" in envelope.rcpt_tos[0]:
            return "550 no such mailbox"
        print(json.dumps({"from": envelope.mail_from, "to": envelope.rcpt_tos,
                          "tls": session.ssl is not None, "text": envelope.content.decode()}), flush=True)
        return "250 taken"


def main():
    more = {}
    if len(sys.argv) == 3:
        context = ssl.create_default_context(ssl.Purpose.CLIENT_AUTH)
        context.load_cert_chain(sys.argv[1], sys.argv[2])
        more = {"tls_context": context, "require_starttls": True}
    controller = Controller(Sink(), hostname="127.0.0.1", port=0, **more)
    # The controller looks for itself on the port that it was told; 0 has to be settled first.
    import socket
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        controller.port = probe.getsockname()[1]
    controller.start()
    print(controller.port, flush=True)
    sys.stdin.read()
    threading.Thread(target=controller.stop, daemon=True).start()


if __name__ == "__main__":
    main()
