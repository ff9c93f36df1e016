#!/usr/bin/env python3
"""Generates campus-edge.acl and campus-edge-packets.txt next to this script, deterministically.

The access list is that of a campus's internet edge: services that are reachable from outside, and
traffic allowed out. All addresses are from the blocks reserved for documentation and private use.
Order matters: the first matching rule wins.
"""
import pathlib

TCP, UDP, ICMP, GRE, ESP = 6, 17, 1, 47, 50
ANY_PORT = (0, 65535)
EPHEMERAL = (1024, 65535)
ANY = "0.0.0.0/0"
CAMPUS = "10.0.0.0/8"
DMZ = "198.51.100.0/24"
PARTNERS = ["203.0.113.%d/28" % (16 * i) for i in range(12)]
BUILDINGS = ["10.%d.0.0/16" % (16 + i) for i in range(24)]
LABS = ["10.200.%d.0/24" % i for i in range(16)]

rules = []


def rule(src, dst, proto=None, sport=ANY_PORT, dport=ANY_PORT, bits=(0, 0)):
    mask = 0 if proto is None else 0xFF
    rules.append("@%s\t%s\t%d : %d\t%d : %d\t0x%02x/0x%02X\t0x%04x/0x%04x" % (
        src, dst, *sport, *dport, proto or 0, mask, *bits))


def one(port):
    return (port, port)


def flags(value, mask):
    return (value << 8, mask << 8)


def icmp(kind, code=None):
    return (kind << 8 | (code or 0), 0xFF00 if code is None else 0xFFFF)


ACK, RST = 0x10, 0x04

# Return traffic of connections opened from inside.
rule(ANY, CAMPUS, TCP, dport=EPHEMERAL, bits=flags(ACK, ACK))
rule(ANY, CAMPUS, TCP, dport=EPHEMERAL, bits=flags(RST, RST))

# Diagnostics.
for kind, code in ((0, None), (3, 4), (3, None), (11, None), (12, None)):
    rule(ANY, CAMPUS, ICMP, bits=icmp(kind, code))
rule(ANY, DMZ, ICMP, bits=icmp(8))
rule("192.0.2.0/26", ANY, ICMP)

# Public servers.
for host, services in (
        (10, (80, 443)), (11, (80, 443)), (12, (80, 443, 8443)), (20, (25, 465, 587)),
        (21, (25, 465, 587)), (22, (143, 993, 995)), (40, (22,)), (41, (989, 990)),
        (60, (5222, 5269)), (61, (5061,))):
    for port in services:
        rule(ANY, "198.51.100.%d/32" % host, TCP, dport=one(port))
for host in (53, 54):
    rule(ANY, "198.51.100.%d/32" % host, UDP, dport=one(53))
    rule(ANY, "198.51.100.%d/32" % host, TCP, dport=one(53))
rule("198.51.100.0/27", ANY, TCP, sport=one(80))
rule("198.51.100.0/27", ANY, TCP, sport=one(443))
for i in range(4):
    rule(ANY, "198.51.100.%d/32" % (70 + i), UDP, dport=(16384 + 1000 * i, 16384 + 1000 * i + 999))

# Time and name service of the campus itself.
for host in (123, 124):
    rule("198.51.100.%d/32" % host, ANY, UDP, sport=one(123), dport=one(123))
    rule(ANY, "198.51.100.%d/32" % host, UDP, sport=one(123), dport=one(123))
for server in ("192.0.2.53/32", "192.0.2.54/32"):
    rule(server, CAMPUS, UDP, sport=one(53), dport=EPHEMERAL)

# Partner sites: tunnels, file exchange, remote desktops and a few services of their own.
for i, site in enumerate(PARTNERS):
    gateway = "198.51.100.%d/32" % (200 + i % 4)
    rule(site, gateway, ESP)
    rule(site, gateway, UDP, sport=one(500), dport=one(500))
    rule(site, gateway, UDP, dport=one(4500))
    if i % 3 == 0:
        rule(site, gateway, GRE)
    rule(site, LABS[i], TCP, dport=one(22))
    rule(site, LABS[i], TCP, dport=(2049 + i, 2049 + i + 6))
    rule(site, LABS[i], TCP, sport=EPHEMERAL, dport=(5900, 5915))
    rule(site, LABS[i], UDP, dport=(30000 + 100 * i, 30099 + 100 * i))

# Per building: access of desktops and telephones.
for i, net in enumerate(BUILDINGS):
    rule(net, ANY, TCP, sport=EPHEMERAL, dport=one(80))
    rule(net, ANY, TCP, sport=EPHEMERAL, dport=one(443))
    rule(net, ANY, UDP, sport=EPHEMERAL, dport=one(443))
    rule(net, "198.51.100.20/31", TCP, dport=(587, 587))
    rule("10.%d.%d.0/24" % (16 + i, 250), "198.51.100.64/27", UDP, dport=(16384, 32767))
    rule("10.%d.%d.0/24" % (16 + i, 251), "192.0.2.128/25", TCP, dport=(9100, 9103))
    rule(net, CAMPUS, ICMP, bits=icmp(8))

# Experiments between labs, and their log server.
for i, lab in enumerate(LABS):
    rule(lab, LABS[(i + 1) % len(LABS)])
    rule(lab, "10.201.0.%d/32" % (1 + i), TCP, dport=one(6514))
    rule(lab, "10.201.0.0/24", UDP, sport=(0, 1023), dport=one(514))

# Management from the operations centre.
for port in (22, 443, 830):
    rule("192.0.2.0/26", CAMPUS, TCP, dport=one(port))
rule("192.0.2.0/26", CAMPUS, UDP, dport=(161, 162))

# Legacy agreements, by protocol number only.
rule("203.0.113.224/28", "10.200.15.0/24", None, dport=(7000, 7009))
rule("203.0.113.240/29", DMZ, None)

TRACE = [
    # source, destination, source port, destination port, protocol
    ("203.0.113.5", "198.51.100.10", 40001, 443, TCP),
    ("203.0.113.5", "198.51.100.10", 40002, 80, TCP),
    ("203.0.113.77", "198.51.100.20", 35000, 25, TCP),
    ("192.0.2.200", "198.51.100.53", 53124, 53, UDP),
    ("192.0.2.200", "198.51.100.53", 53125, 853, TCP),
    ("192.0.2.10", "10.16.1.1", 50022, 22, TCP),
    ("192.0.2.10", "10.16.1.1", 50023, 23, TCP),
    ("10.16.4.7", "203.0.113.9", 51000, 443, TCP),
    ("10.16.4.7", "203.0.113.9", 51000, 443, UDP),
    ("10.17.250.9", "198.51.100.70", 20000, 16385, UDP),
    ("10.17.251.9", "192.0.2.130", 20000, 9103, TCP),
    ("10.17.251.9", "192.0.2.130", 20000, 9104, TCP),
    ("203.0.113.1", "198.51.100.200", 0, 0, ESP),
    ("203.0.113.1", "198.51.100.200", 500, 500, UDP),
    ("203.0.113.17", "10.200.1.9", 40000, 2056, TCP),
    ("10.200.0.4", "10.200.1.4", 1, 1, TCP),
    ("10.200.0.4", "10.201.0.1", 7000, 6514, TCP),
    ("203.0.113.241", "198.51.100.99", 0, 0, GRE),
    ("203.0.113.200", "198.51.100.30", 0, 0, ICMP),
    ("203.0.113.225", "10.200.15.3", 1024, 7009, UDP),
]


def number(address):
    value = 0
    for byte in address.split("."):
        value = value * 256 + int(byte)
    return value


def main():
    folder = pathlib.Path(__file__).parent
    (folder / "campus-edge.acl").write_text("".join(line + "\n" for line in rules))
    (folder / "campus-edge-packets.txt").write_text("".join(
        "%d\t%d\t%d\t%d\t%d\n" % (number(src), number(dst), sport, dport, proto)
        for src, dst, sport, dport, proto in TRACE))


main()
