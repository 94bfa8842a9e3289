#pragma once

// Every public header of the library.
#include <dovo/Export.h>
#include <dovo/String.h>
#include <dovo/Time.h>
