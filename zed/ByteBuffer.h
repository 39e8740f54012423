// A block of bytes.
#pragma once
