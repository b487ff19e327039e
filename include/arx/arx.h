// Every header of libarx.
#ifndef ARX_ARX_H
#define ARX_ARX_H

#include <arx/app_privilege.h>
#include <arx/csp_rule.h>
#include <arx/form_handler.h>
#include <arx/form_validator.h>
#include <arx/image_selector_utils.h>
#include <arx/image_utils.h>
#include <arx/js_config_parser.h>
#include <arx/json_file.h>
#include <arx/localized_string_parser.h>
#include <arx/run_as.h>
#include <arx/security_options.h>
#include <arx/string_bundle.h>
#include <arx/string_parser.h>
#include <arx/theme_helper.h>
#include <arx/vorn_conf.h>
#include <arx/webman.h>
#include <arx/webman_file_share.h>
#include <arx/webutils.h>

#endif
