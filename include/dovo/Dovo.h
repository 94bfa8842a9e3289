#pragma once

// Every public header of the library.
#include <dovo/Export.h>

#include <dovo/String.h>
#include <dovo/StringTokenizer.h>
#include <dovo/Time.h>

#include <dovo/Exception.h>
#include <dovo/FileException.h>
#include <dovo/LibStatic.h>
#include <dovo/ProcessException.h>
#include <dovo/SocketException.h>
#include <dovo/StreamException.h>
#include <dovo/SyncException.h>
#include <dovo/TransportException.h>
#include <dovo/WeakPointerException.h>
#include <dovo/_AutoInitialized.h>

#include <dovo/FastMutex.h>
#include <dovo/StaticFastMutex.h>

#include <dovo/Path.h>

#include <dovo/CommandLine.h>
