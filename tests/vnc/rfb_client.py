"""A small RFB (VNC) client for the remote panel's tests: the handshake, raw
pictures, pointer events, and the ways a hostile client can misbehave."""
import socket
import struct
import subprocess


def recv_exact(sock, n):
    data = b''
    while len(data) < n:
        chunk = sock.recv(n - len(data))
        if not chunk:
            raise EOFError('the server closed the connection')
        data += chunk
    return data


def vnc_response(password, challenge):
    """The VNC authentication response: the challenge DES-encrypted with the
    password (8 bytes, each byte's bits reversed), through openssl."""
    key = password.encode()[:8].ljust(8, b'\0')
    key = bytes(int('{:08b}'.format(b)[::-1], 2) for b in key)
    out = subprocess.run(['openssl', 'enc', '-des-ecb', '-nopad', '-K', key.hex(), '-provider', 'legacy',
                          '-provider', 'default'], input=challenge, capture_output=True, check=True)
    return out.stdout[:16]


class AuthRefused(Exception):
    pass


class RfbClient:
    def __init__(self, port, password=None, wrong_response=False, timeout=20):
        self.sock = socket.create_connection(('127.0.0.1', port), timeout=timeout)
        version = recv_exact(self.sock, 12)
        if not version.startswith(b'RFB 003.'):
            raise EOFError('not an RFB server: %r' % version)
        self.sock.sendall(b'RFB 003.008\n')
        n = recv_exact(self.sock, 1)[0]
        if n == 0:
            length = struct.unpack('>I', recv_exact(self.sock, 4))[0]
            raise AuthRefused(recv_exact(self.sock, length).decode())
        self.security_types = list(recv_exact(self.sock, n))
        if password is None and not wrong_response:
            if 1 not in self.security_types:
                raise AuthRefused('no security type None among %r' % self.security_types)
            self.sock.sendall(b'\x01')
        else:
            self.sock.sendall(b'\x02')
            challenge = recv_exact(self.sock, 16)
            response = bytes(16) if wrong_response else vnc_response(password, challenge)
            self.sock.sendall(response)
        result = struct.unpack('>I', recv_exact(self.sock, 4))[0]
        if result != 0:
            reason = b''
            try:
                length = struct.unpack('>I', recv_exact(self.sock, 4))[0]
                reason = recv_exact(self.sock, length)
            except EOFError:
                pass
            raise AuthRefused('security result %d: %s' % (result, reason.decode(errors='replace')))
        self.sock.sendall(b'\x01')  # shared
        w, h = struct.unpack('>HH', recv_exact(self.sock, 4))
        recv_exact(self.sock, 16)
        name_length = struct.unpack('>I', recv_exact(self.sock, 4))[0]
        self.name = recv_exact(self.sock, name_length).decode(errors='replace')
        self.width, self.height = w, h
        # 32-bit pixels, little-endian, red in bits 16-23: B, G, R, X in memory.
        self.sock.sendall(struct.pack('>BxxxBBBBHHHBBBxxx', 0, 32, 24, 0, 1, 255, 255, 255, 16, 8, 0))
        self.sock.sendall(struct.pack('>BxHi', 2, 1, 0))  # raw only
        self.picture = bytearray(w * h * 4)
        self.bytes_received = 0

    def request(self, incremental):
        self.sock.sendall(struct.pack('>BBHHHH', 3, 1 if incremental else 0, 0, 0, self.width, self.height))

    def read_update(self):
        """Reads messages up to and including one framebuffer update; returns its rectangles."""
        while True:
            kind = recv_exact(self.sock, 1)[0]
            self.bytes_received += 1
            if kind == 0:
                break
            if kind == 2:  # bell
                continue
            if kind == 3:  # server cut text
                recv_exact(self.sock, 3)
                length = struct.unpack('>I', recv_exact(self.sock, 4))[0]
                recv_exact(self.sock, length)
                continue
            raise EOFError('unexpected server message %d' % kind)
        recv_exact(self.sock, 1)
        count = struct.unpack('>H', recv_exact(self.sock, 2))[0]
        rects = []
        for _ in range(count):
            x, y, w, h, enc = struct.unpack('>HHHHi', recv_exact(self.sock, 12))
            self.bytes_received += 12
            if enc != 0:
                raise EOFError('unexpected encoding %d' % enc)
            data = recv_exact(self.sock, w * h * 4)
            self.bytes_received += len(data)
            for row in range(h):
                start = ((y + row) * self.width + x) * 4
                self.picture[start:start + w * 4] = data[row * w * 4:(row + 1) * w * 4]
            rects.append((x, y, w, h))
        return rects

    def rgb(self):
        """The picture as R, G, B bytes, rows top to bottom."""
        out = bytearray(self.width * self.height * 3)
        out[0::3] = self.picture[2::4]
        out[1::3] = self.picture[1::4]
        out[2::3] = self.picture[0::4]
        return bytes(out)

    def pointer(self, buttons, x, y):
        self.sock.sendall(struct.pack('>BBHH', 5, buttons, x, y))

    def key(self, down, keysym):
        self.sock.sendall(struct.pack('>BBxxI', 4, 1 if down else 0, keysym))

    def close(self):
        self.sock.close()
