#pragma once

// Every public header of the library.
#include <dovo/Export.h>

#include <dovo/Array.h>
#include <dovo/String.h>
#include <dovo/StringTokenizer.h>
#include <dovo/Time.h>
#include <dovo/UID.h>

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

#include <dovo/HasSlots.h>
#include <dovo/Signal.h>
#include <dovo/SignalBase.h>
#include <dovo/SmartCountedBase.h>
#include <dovo/SmartHandle.h>

#include <dovo/FastMutex.h>
#include <dovo/Mutex.h>
#include <dovo/Queue.h>
#include <dovo/RWLock.h>
#include <dovo/Semaphore.h>
#include <dovo/StaticFastMutex.h>
#include <dovo/ThreadPolicy.h>
#include <dovo/Trigger.h>
#include <dovo/_AutoHandle.h>

#include <dovo/DynamicBuffer.h>
#include <dovo/DynamicBufferStream.h>
#include <dovo/InStream.h>
#include <dovo/NamedPipe.h>
#include <dovo/NamedPipeServer.h>
#include <dovo/NamedPipeServerThread.h>
#include <dovo/OutStream.h>
#include <dovo/Pipe.h>
#include <dovo/RAMBlock.h>
#include <dovo/SetExceptionLevel.h>
#include <dovo/Stream.h>
#include <dovo/TransportServerThread.h>

#include <dovo/File.h>
#include <dovo/FileFinder.h>
#include <dovo/InFile.h>
#include <dovo/OutFile.h>
#include <dovo/Path.h>

#include <dovo/IPAddress.h>
#include <dovo/IPPeer.h>
#include <dovo/Socket.h>
#include <dovo/TCPServerThread.h>
#include <dovo/TCPSocket.h>
#include <dovo/TCPSocketServer.h>
#include <dovo/UDPSocket.h>
#include <dovo/UDPSocketListener.h>

#include <dovo/Platform.h>

#include <dovo/Log.h>
#include <dovo/LogItem.h>

#include <dovo/Thread.h>
#include <dovo/ThreadPool.h>

#include <dovo/Application.h>
#include <dovo/CommandLine.h>
#include <dovo/Executable.h>
