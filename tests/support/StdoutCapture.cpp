#include "StdoutCapture.h"
