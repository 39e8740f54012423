#include <tvk/text/Exception.h>
