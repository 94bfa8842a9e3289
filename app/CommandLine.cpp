#include <dovo/CommandLine.h>
