// Everything that the library offers. A tool that reads published data begins with vots_file_mapping.h and
// vots_file_event.h, a publisher with vots_asset_node_container.h, its helper and vo_publisher.h; the services below
// stand on their own.
#pragma once

#include "tray_service_types.h"
#include "vo_buffer_container.h"
#include "vo_log.h"
#include "vo_log_output.h"
#include "vo_public_option.h"
#include "vo_publisher.h"
#include "vo_small_objects.h"
#include "vo_stack_walker.h"
#include "vo_string_cipher.h"
#include "vo_string_hash.h"
#include "vo_string_hash_set.h"
#include "vo_types.h"
#include "vo_utility.h"
#include "vots_asset_node_classify_manager.h"
#include "vots_asset_node_container.h"
#include "vots_asset_node_container_helper.h"
#include "vots_file_event.h"
#include "vots_file_mapping.h"
#include "vots_file_monitor.h"
#include "z_ini_file.h"
#include "z_mdl_file.h"
