#pragma once

// Everything of the Opax runtime in one include.

#include <opax/core/adapter/native_to_definition_adapter.h>
#include <opax/core/adapter/native_to_value_adapter.h>
#include <opax/core/adapter/value_to_native_adapter.h>
#include <opax/core/base/date_time.h>
#include <opax/core/base/enum.h>
#include <opax/core/base/enum_table.h>
#include <opax/core/base/native_ptr.h>
#include <opax/core/base/operation_input.h>
#include <opax/core/base/optional_ptr.h>
#include <opax/core/base/progress.h>
#include <opax/core/base/secret_string.h>
#include <opax/core/base/void.h>
#include <opax/core/data/compound_value.h>
#include <opax/core/data/data_value.h>
#include <opax/core/data/dynamic_structure.h>
#include <opax/core/data/list_value.h>
#include <opax/core/data/optional_value.h>
#include <opax/core/data/type_info.h>
#include <opax/core/definition/data_definition.h>
#include <opax/core/l10n/request_localizer.h>
#include <opax/core/message/base_message.h>
#include <opax/core/message/message.h>
#include <opax/core/message/message_ids.h>
#include <opax/core/metadata/struct_info.h>
#include <opax/core/validation/validator.h>
