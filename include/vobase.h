// Everything that the library offers.
#pragma once

#include "tray_service_types.h"
#include "vo_buffer_container.h"
#include "vo_log.h"
#include "vo_string_hash.h"
#include "vo_string_hash_set.h"
#include "vo_types.h"
#include "vo_utility.h"
#include "vots_asset_node_classify_manager.h"
#include "vots_asset_node_container.h"
#include "vots_asset_node_container_helper.h"
#include "vots_file_mapping.h"
