// Everything of VantorCore in one include.
#pragma once

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Date.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/ProcessInfo.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Thread.h"
#include "vantorcore/platform/Value.h"
