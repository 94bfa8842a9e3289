#include <dovo/StringTokenizer.h>
