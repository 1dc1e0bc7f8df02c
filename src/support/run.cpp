#include "support/run.h"

namespace pelorus {

RUN run;

} // namespace pelorus
