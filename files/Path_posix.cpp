#include <dovo/Path.h>
