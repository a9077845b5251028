"""A second generator of multipart bodies, for comparison.

Reads one list of parts a line, {"boundary": text, "parts": [[key, value, hex or null, type]]},
and writes the body that it must give as a line of hexadecimal digits. Where the names are clean,
Python's own parser of messages must find the parts again.
"""
import email.parser
import email.policy
import json
import sys

CLEAN = set("abcdefghijklmnopqrstuvwxyz")


def part_bytes(key, value, content, media_type):
    if content is None:
        head = f'name="{key}"'
        payload = value.encode()
        extra = []
    else:
        head = f'name="{key}"; filename="{value}"'
        payload = bytes.fromhex(content)
        extra = [f"Content-Type: {media_type}"]
    lines = [f"Content-Disposition: form-data; {head}", *extra, f"Content-Length: {len(payload)}"]
    return "\r\n".join(lines).encode() + b"\r\n\r\n" + payload


def body_of(boundary, parts):
    mark = b"--" + boundary.encode()
    pieces = [mark + b"\r\n" + part_bytes(*part) + b"\r\n" for part in parts]
    return b"".join(pieces) + mark + b"--\r\n"


def check_parses(boundary, parts, body):
    head = f'Content-Type: multipart/form-data; boundary="{boundary}"\r\n\r\n'.encode()
    parser = email.parser.BytesParser(policy=email.policy.HTTP)
    found = list(parser.parsebytes(head + body).iter_parts())
    assert len(found) == len(parts), (len(found), len(parts))
    for message, (key, value, content, _) in zip(found, parts):
        payload = message.get_payload(decode=True)
        expected = value.encode() if content is None else bytes.fromhex(content)
        assert int(message["Content-Length"]) == len(expected)
        assert message.get_param("name", header="Content-Disposition") == key
        if b"\r" not in expected and b"\n" not in expected:
            assert payload == expected, (payload, expected)


def main():
    parsed = 0
    with open(sys.argv[1], encoding="utf-8") as cases, open(sys.argv[2], "w") as bodies:
        for line in cases:
            case = json.loads(line)
            boundary, parts = case["boundary"], case["parts"]
            body = body_of(boundary, parts)
            bodies.write(body.hex() + "\n")
            if parts and boundary and all(
                set(text) <= CLEAN and text for key, value, _, kind in parts
                for text in (key, value, kind)
            ):
                check_parses(boundary, parts, body)
                parsed += 1
    assert parsed > 0


main()
