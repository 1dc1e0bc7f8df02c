#include "support/settings.h"

namespace pelorus {

SETTINGS settings;

void reset_settings() { settings = SETTINGS(); }

} // namespace pelorus
