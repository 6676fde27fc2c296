#include "controller/validation.h"

#include "controller/key_framed.h"
#include "controller/operators.h"

namespace osm3d::controller {
namespace {

using Product = Op<color, color, f32>;
using Conversion = Conv<color, vect3>;

/// Whether `subject` is a key-framed controller of T without a key.
template <class T>
bool LacksKeys(const Controller* subject) {
    const auto* keyFramed = dynamic_cast<const KeyFramed<T>*>(subject);
    return keyFramed && const_cast<KeyFramed<T>*>(keyFramed)->GetKeyCount() == 0;
}

bool ValidateLeaf(const Controller* subject, std::string& reason) {
    if (!LacksKeys<f32>(subject) && !LacksKeys<vect3>(subject) && !LacksKeys<quat>(subject) &&
        !LacksKeys<color>(subject) && !LacksKeys<matrix>(subject)) {
        return true;
    }
    reason = "a key-framed controller has no keys";
    return false;
}

}  // namespace

bool Validate(const Controller* subject, std::string& reason) {
    for (u32 depth = 0;; ++depth) {
        if (const auto* conversion = dynamic_cast<const Conversion*>(subject)) {
            if (conversion->source) return ValidateLeaf(conversion->source, reason);
            reason = "a conversion has no source";
            return false;
        }
        const auto* product = dynamic_cast<const Product*>(subject);
        if (!product) return ValidateLeaf(subject, reason);
        if (depth == kMaxOperatorDepth) {
            reason =
                "operators nest more than " + std::to_string(kMaxOperatorDepth) + " deep or go in a circle";
            return false;
        }
        if (product->op == Product::kMultiply && (!product->a || !product->b)) {
            reason = "an operator lacks an operand";
            return false;
        }
        if (!ValidateLeaf(product->b.Get(), reason)) return false;
        subject = product->a.Get();
    }
}

}  // namespace osm3d::controller
