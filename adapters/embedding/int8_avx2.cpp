// Compiled for processors with AVX2 and FMA; called only on these.
#if defined(__x86_64__)

#include "adapters/embedding/int8_kernel.h"

namespace tolvik {

void multiplyAvx2(const Int8Product& product, std::size_t count) {
    multiply(product, count);
}

}  // namespace tolvik

#endif
