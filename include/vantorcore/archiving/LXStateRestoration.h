// The state-restoration archive in one include: the archiver and unarchiver,
// their items, the restoration context, the responder settings and the
// archive's readable rendering.
#pragma once

#include "vantorcore/archiving/LXStateRestorationArchiveDescription.h"
#include "vantorcore/archiving/LXStateRestorationArchiver.h"
#include "vantorcore/archiving/LXStateRestorationContext.h"
#include "vantorcore/archiving/LXStateRestorationItem.h"
#include "vantorcore/archiving/LXStateRestorationUnarchiver.h"
#include "vantorcore/archiving/Responder+LXStateRestoration.h"
