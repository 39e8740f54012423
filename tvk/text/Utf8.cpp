#include <tvk/text/Utf8.h>
