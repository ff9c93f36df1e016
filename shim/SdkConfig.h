// The configuration of the SDK's records: none, they are the library's own.
//
// A build with an SDK's own header (MORVANE_SDK_HEADER) uses and installs a header in place of this
// one that defines MORVANE_SDK_HEADER, and MORVANE_SDK_ADAPTER where there is one.
#pragma once
