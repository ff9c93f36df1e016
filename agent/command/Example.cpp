#include "agent/command/Example.h"

#include "agent/packets/TraceReader.h"
#include "agent/read/ClassBenchReader.h"
#include "platform/BuiltInText.h"

namespace Agent {

// Generated from the files in examples/, in this order.
extern const std::span< const Platform::BuiltInText > exampleTexts;

Acl exampleAcl() {
  return parseClassBench( exampleTexts[ 0 ].name, "examples/campus-edge.acl",
                          exampleTexts[ 0 ].text );
}

std::vector< PacketFields > exampleTrace() {
  return parseTrace( "examples/campus-edge-packets.txt", exampleTexts[ 1 ].text );
}

}  // namespace Agent
