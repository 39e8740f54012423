#include <tvk/text/MessageTable.h>
