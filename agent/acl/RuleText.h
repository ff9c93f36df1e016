// Rules as text for reports, printed from their fields: files of a million rules keep no text.
#pragma once

#include <string>

#include "agent/acl/MatchFields.h"

namespace Agent {

// One line: the name, and what the rule restricts, in the words for packets
// (agent/packets/PacketText.h), "web: tcp 10.0.0.0/8:1024-65535 > any:80 flags +syn-ack"; "any" for
// nothing. Alternatives are separated by commas.
std::string matchText( AclKind kind, const AclRule & rule );
// "permit", "drop copyToCpu".
std::string actionsText( const AclRule & rule );
// Both.
std::string ruleText( AclKind kind, const AclRule & rule );

// "syn,ack", "none".
std::string tcpFlagsText( U8 flags );

// What the rule allows in one field, alternatives separated by commas: "1024-2047,8080".
std::string fieldText( const MatchField & field, const AclRule & rule );

// One value of a field: "10.0.0.1", "tcp", "0x12".
std::string valueText( const MatchField & field, const FieldBits & bits );

const char * fragmentsName( Fragments fragments );
const char * forwardingName( Forwarding action );

}  // namespace Agent
