#include <tvk/text/Utf8Conversion.h>
