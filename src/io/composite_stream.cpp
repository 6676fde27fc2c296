#include "io/composite_stream.h"

namespace osmio {

InStreamComposite::~InStreamComposite() {
    if (ownsInner) delete inner;
}

OutStreamComposite::~OutStreamComposite() {
    if (ownsInner) delete inner;
}

}  // namespace osmio
