#include "adapters/embedding/int8_kernel.h"

namespace tolvik {

void multiplyPlain(const Int8Product& product, std::size_t count) {
    multiply(product, count);
}

}  // namespace tolvik
