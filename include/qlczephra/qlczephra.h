// Everything a host needs, in one include.
#pragma once

#include "qlczephra/app_info.h"
#include "qlczephra/authentication_delegate.h"
#include "qlczephra/certificates_handler.h"
#include "qlczephra/error.h"
#include "qlczephra/log.h"
#include "qlczephra/manager.h"
#include "qlczephra/manager_protocol.h"
#include "qlczephra/network_request.h"
#include "qlczephra/retry.h"
#include "qlczephra/services_urls_provider.h"
#include "qlczephra/value.h"
#include "qlczephra/version.h"
