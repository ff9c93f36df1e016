// The command `explain`: sends one packet through the programmed switch and reports the fields that
// the chip sees, the entry that wins in each table, and what comes of its actions.
#pragma once

#include <string>

#include "agent/command/Run.h"

namespace CLI {
class App;
}

namespace Agent {

struct ExplainOptions {
  std::string packet;  // number of a packet of the run, from 1, or a packet in words
  std::string rule;    // [LIST/]R, from 1; empty: none
  bool json = false;
};

// A packet, and the ports by which it enters and leaves.
struct SentPacket {
  Packet packet;
  PortPair ports;
};

// A packet in words (agent/packets/PacketText.h); by default it has the first ports of the input.
// Throws UsageError.
SentPacket packetInWords( const RunInput & input, const std::string & text );

void addExplainOptions( CLI::App & app, ExplainOptions & explain );

// Earlier packets of the run are sent first: they use up policers. Returns whether all lists fit
// and no rule was refused. Throws what readInput throws, and UsageError.
bool explainCommand( const RunOptions & options, const ExplainOptions & explain );

}  // namespace Agent
