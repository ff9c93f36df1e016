// Reads what iptables-save and ip6tables-save write: the chains INPUT, FORWARD and OUTPUT of the
// filter table as lists (docs/formats.md).
#pragma once

#include "agent/read/AclDocument.h"

namespace Agent {

// By content the family is that of the addresses, IPv4 without any.
bool isIptables( const AclSource & source );
bool isIp6tables( const AclSource & source );
void readIptables( const AclSource & source, AclDocument & document );
void readIp6tables( const AclSource & source, AclDocument & document );

}  // namespace Agent
