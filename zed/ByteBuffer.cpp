#include <zed/ByteBuffer.h>
