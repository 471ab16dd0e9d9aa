// Umbrella header: the whole public API of the library.
#pragma once

#include "rdd18/diagnostics/diagnostics.h"
#include "rdd18/items/item_factory.h"
#include "rdd18/items/item_table.h"
#include "rdd18/items/rdd18_items.h"
#include "rdd18/items/sony_items.h"
#include "rdd18/items/standard_items.h"
#include "rdd18/items/varicam_items.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rdd18/output/item_translator.h"
#include "rdd18/platform/value.h"
#include "rdd18/transport/ancillary_packet.h"
#include "rdd18/transport/rdd18_stream_reader.h"
#include "rdd18/transport/reader.h"
