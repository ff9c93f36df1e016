#!/usr/bin/env python3
"""Generates overlay.pcap next to this script, deterministically.

The capture is of an underlay network: VXLAN and GRE between tunnel endpoints, and some packets of
the underlay itself. All addresses are from the blocks reserved for documentation and private use.
"""
import ipaddress
import pathlib
import struct

TCP, UDP, ICMP, GRE = 6, 17, 1, 47
LEAVES = ["192.0.2.%d" % i for i in (11, 12, 13)]


def checksum(data):
    if len(data) % 2:
        data += b"\0"
    total = sum(struct.unpack(">%dH" % (len(data) // 2), data))
    while total > 0xFFFF:
        total = (total & 0xFFFF) + (total >> 16)
    return 0xFFFF - total


def ipv4(src, dst, proto, payload):
    def header(check):
        return struct.pack(">BBHHHBBH4s4s", 0x45, 0, 20 + len(payload), 0, 0, 64, proto, check,
                           ipaddress.ip_address(src).packed, ipaddress.ip_address(dst).packed)
    return header(checksum(header(0))) + payload


def udp(sport, dport, payload):
    return struct.pack(">HHHH", sport, dport, 8 + len(payload), 0) + payload


def tcp(sport, dport, flags):
    return struct.pack(">HHIIBBHHH", sport, dport, 1, 1, 0x50, flags, 65535, 0, 0)


def echo():
    body = struct.pack(">HH", 1, 1) + bytes(32)
    return struct.pack(">BBH", 8, 0, checksum(b"\x08\0\0\0" + body)) + body


def ethernet(packet, dst="020000000001", src="020000000002", kind=0x0800):
    return bytes.fromhex(dst) + bytes.fromhex(src) + struct.pack(">H", kind) + packet


def vxlan(leaf, vni, inner):
    frame = ethernet(inner, "02aa00000001", "02aa000000%02x" % leaf)
    header = struct.pack(">II", 0x08000000, vni << 8)
    return ethernet(ipv4(LEAVES[leaf % 3], "192.0.2.1", UDP, udp(50000 + leaf, 4789,
                                                                 header + frame)))


def gre(leaf, inner):
    return ethernet(ipv4(LEAVES[leaf % 3], "192.0.2.1", GRE,
                         struct.pack(">HH", 0, 0x0800) + inner))


def frames():
    for i in range(20):
        host = "10.66.%d.%d" % (i % 4, 7 + i % 5)
        peer = "10.77.0.%d" % (1 + i)
        yield vxlan(i, 5001 + i % 2, ipv4(host, peer, TCP, tcp(40000 + i, 443, 0x10)))
        yield vxlan(i, 5001, ipv4(peer, host, UDP, udp(53, 30000 + i, bytes(40))))
        if i % 3 == 0:
            yield vxlan(i, 5003, ipv4(host, peer, ICMP, echo()))
        if i % 4 == 0:
            yield gre(i, ipv4(host, "10.88.0.1", TCP, tcp(1024 + i, 22, 0x02)))
            yield gre(i, ipv4("10.99.0.%d" % i, "10.88.0.1", TCP, tcp(1024 + i, 22, 0x02)))
        if i % 5 == 0:
            yield ethernet(ipv4(LEAVES[0], LEAVES[1], TCP, tcp(179, 33000 + i, 0x18)))
    yield ethernet(bytes(46), "0180c200000e", kind=0x88CC)
    yield vxlan(0, 5001, b"")[:60]  # truncated before the inner packet


def main():
    path = pathlib.Path(__file__).parent / "overlay.pcap"
    with path.open("wb") as out:
        out.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 1))
        for i, frame in enumerate(frames()):
            frame += bytes(max(0, 60 - len(frame)))
            time = 1_000_000 + 250 * i
            out.write(struct.pack("<IIII", time // 1_000_000, time % 1_000_000, len(frame),
                                  len(frame)) + frame)


main()
