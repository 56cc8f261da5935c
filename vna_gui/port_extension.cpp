#include "port_extension.h"
