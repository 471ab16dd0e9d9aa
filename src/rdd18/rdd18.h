// Umbrella header: the whole public API of the library.
#pragma once

#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/arri/arri_ancillary_parser.h"
#include "rdd18/arri/arri_blob.h"
#include "rdd18/arri/arri_file_header.h"
#include "rdd18/arri/arri_stream_reader.h"
#include "rdd18/diagnostics/diagnostics.h"
#include "rdd18/diagnostics/explain.h"
#include "rdd18/diagnostics/parse_observer.h"
#include "rdd18/items/item_factory.h"
#include "rdd18/items/rdd18_items.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rdd18/platform/value.h"
#include "rdd18/transport/ancillary_packet.h"
#include "rdd18/transport/rdd18_stream_reader.h"
#include "rdd18/transport/reader.h"
