#include <tvk/text/StringBase.h>
