#include <tvk/text/ErrorLocation.h>
