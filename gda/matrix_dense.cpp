// Dense working copies of matrix BaseData objects: loading, storing, precision.
#include "gda/matrix_dense.hpp"

#include <cstring>
#include <limits>
#include <type_traits>

#include "gda/layout.hpp"

namespace orvik::gda {

namespace {

template <class T> T ReadAs(const unsigned char *p) {
    T value;
    std::memcpy(&value, p, sizeof value);
    return value;
}

template <class T> void WriteAs(unsigned char *p, T value) { std::memcpy(p, &value, sizeof value); }

} // namespace

double StorageEpsilon(Ogda_PixelType type) {
    return type == OGDA_F32 || type == OGDA_C64 ? std::numeric_limits<float>::epsilon()
                                                : std::numeric_limits<double>::epsilon();
}

template <class W> Dense<W> Load(const Ogda_BaseData *o) {
    Dense<W> d(o->numrows, o->numcolumns);
    for (int32_t r = 0; r < d.rows; ++r) {
        for (int32_t c = 0; c < d.cols; ++c) {
            const unsigned char *p = ElementAt(o, r, c);
            if constexpr (std::is_same_v<W, double>) {
                d.at(r, c) = o->datatype == OGDA_F32 ? ReadAs<float>(p) : ReadAs<double>(p);
            } else if (o->datatype == OGDA_C64) {
                const auto z = ReadAs<std::complex<float>>(p);
                d.at(r, c) = W(z.real(), z.imag());
            } else {
                d.at(r, c) = ReadAs<std::complex<double>>(p);
            }
        }
    }
    return d;
}

template <class W> void Store(const Dense<W> &d, Ogda_BaseData *o) {
    for (int32_t r = 0; r < d.rows; ++r) {
        for (int32_t c = 0; c < d.cols; ++c) {
            unsigned char *p = ElementAt(o, r, c);
            const W &value = d.at(r, c);
            if constexpr (std::is_same_v<W, double>) {
                if (o->datatype == OGDA_F32) {
                    WriteAs(p, static_cast<float>(value));
                } else {
                    WriteAs(p, value);
                }
            } else if (o->datatype == OGDA_C64) {
                WriteAs(p, std::complex<float>(static_cast<float>(value.real()),
                                               static_cast<float>(value.imag())));
            } else {
                WriteAs(p, value);
            }
        }
    }
}

template Dense<double> Load<double>(const Ogda_BaseData *);
template Dense<std::complex<double>> Load<std::complex<double>>(const Ogda_BaseData *);
template void Store<double>(const Dense<double> &, Ogda_BaseData *);
template void Store<std::complex<double>>(const Dense<std::complex<double>> &, Ogda_BaseData *);

} // namespace orvik::gda
