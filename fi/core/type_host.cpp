#include "fi/fi.h"
#include "host/hv.h"

void fi::setNumericTypeFromOutside(const NumericType& type) {
    NumericType settled(type);
    if (settled.isUnspecifiedSign()) {
        settled.setSigned(true);
    }
    if (settled.isUnspecifiedScaling()) {
        const hvArrayOwner values(hvCreateDoubleMatrix(mNumel, 1, isreal() ? hvREAL : hvCOMPLEX));
        for (std::uint64_t i = 0; i < mNumel; ++i) {
            hvGetPr(values.get())[i] = realdouble(i);
            if (iscomplex()) {
                hvGetPi(values.get())[i] = imagdouble(i);
            }
        }
        settled.setBestPrecision(values.get());
    }
    applyNumericType(settled);
    resizeEntries(mNumel, wordPrecision(), iscomplex());
    dropFimathOfFloat();
}
