// Umbrella header: what a host needs for most work. The two facades, the value model of their
// answers, the faults they report, and the converters from the forms hosts hold (packet lists,
// 10-bit words, VANC lines, RFC 8331 payloads, ST 436M elements). The packet, stream, item and blob
// layers, the camera model in units and the diagnostics are public too; include their headers
// where they are needed.
#pragma once

#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/host/packet.h"
#include "rdd18/host/rfc8331.h"
#include "rdd18/host/rtp.h"
#include "rdd18/host/st436m.h"
#include "rdd18/host/vanc.h"
#include "rdd18/host/words10.h"
#include "rdd18/items/flavour.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rdd18/platform/value.h"
#include "rdd18/transport/fault.h"
#include "rdd18/transport/rtmd_sample.h"
#include "rdd18/version.h"
