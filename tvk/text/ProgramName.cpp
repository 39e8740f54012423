#include <tvk/text/ProgramName.h>
