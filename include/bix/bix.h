#ifndef BIX_BIX_H_
#define BIX_BIX_H_

/// The whole library in one include.

#include "bix/buffer.h"
#include "bix/containers.h"
#include "bix/contexts.h"
#include "bix/diagnostics.h"
#include "bix/directories.h"
#include "bix/encoding.h"
#include "bix/export.h"
#include "bix/fileitem.h"
#include "bix/filestreams.h"
#include "bix/geometry.h"
#include "bix/globfilter.h"
#include "bix/gmode.h"
#include "bix/hosttypes.h"
#include "bix/identifiers.h"
#include "bix/library.h"
#include "bix/mapmarker.h"
#include "bix/messages.h"
#include "bix/modulemanager.h"
#include "bix/optionfile.h"
#include "bix/options.h"
#include "bix/pathname.h"
#include "bix/product.h"
#include "bix/registry.h"
#include "bix/settingsfile.h"
#include "bix/sockets.h"
#include "bix/sthread.h"
#include "bix/stringtable.h"
#include "bix/subproc.h"
#include "bix/text.h"
#include "bix/urischeme.h"
#include "bix/url.h"
#include "bix/urn.h"

#endif  // BIX_BIX_H_
