#include <tvk/text/MessageFormat.h>
