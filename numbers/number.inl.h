// What a number asks its body.
#pragma once

#include <utility>

#include "numbers/number.h"

template <class Action>
inline number& number::apply(Action action) {
    if (doublenumber* body = mBody->asDouble()) {
        action(*body);
    } else {
        action(*mBody);
    }
    return *this;
}
template <class Question>
inline std::invoke_result_t<Question, const doublenumber&> number::ask(Question question) const {
    const numberrepbody& any = *mBody;
    const doublenumber* body = any.asDouble();
    return body ? question(*body) : question(any);
}

std::uint64_t number::numel() const {
    return mBody->numel();
}
std::uint64_t number::getIndex() const {
    return mBody->getIndex();
}
void number::setIndex(std::uint64_t index) const {
    mBody->setIndex(index);
}
std::uint32_t number::getprecision() const {
    return mBody->get_stored_precision();
}
bool number::isempty() const {
    return mBody->numel() == 0;
}
embeddedNumberTags::numbertype number::gettype() const {
    return mBody->isDouble() ? embeddedNumberTags::numbertype::doublenumber : embeddedNumberTags::numbertype::mpnumber;
}
double number::todouble() const {
    return ask([](const auto& body) { return body.todouble(); });
}
signed char number::sign() const {
    return ask([](const auto& body) { return body.sign(); });
}
bool number::isnegative() const {
    return ask([](const auto& body) { return body.isnegative(); });
}
bool number::isFinite() const {
    return ask([](const auto& body) { return body.isFinite(); });
}
bool number::myisinf() const {
    return ask([](const auto& body) { return body.myisinf(); });
}
bool number::iszero() const {
    return ask([](const auto& body) { return body.iszero(); });
}
bool number::myisnan() const {
    return ask([](const auto& body) { return body.myisnan(); });
}
int number::unbiasedexponent() const {
    return ask([](const auto& body) { return body.unbiasedexponent(); });
}
void number::disp() const {
    mBody->disp();
}
bool number::sharesArrayOf(const number& other) const {
    return mBody->sharesArrayOf(*other.mBody);
}
doublenumber* number::asDouble() {
    return mBody->asDouble();
}
const doublenumber* number::asDouble() const {
    return std::as_const(*mBody).asDouble();
}
number& number::operator[](std::uint64_t index) {
    mBody->setIndex(index);
    return *this;
}
const number& number::operator[](std::uint64_t index) const {
    mBody->setIndex(index);
    return *this;
}
number& number::setvalue(const number& source) {
    numberops::setvalue(*mBody, *source.mBody);
    return *this;
}
number& number::setvalue(double value) {
    return apply([value](auto& body) { body.setvalue(value); });
}
number& number::operator+=(const number& other) {
    numberops::plusequals(*mBody, *other.mBody);
    return *this;
}
number& number::operator-=(const number& other) {
    numberops::minusequals(*mBody, *other.mBody);
    return *this;
}
number& number::operator*=(const number& other) {
    numberops::timesequals(*mBody, *other.mBody);
    return *this;
}
number& number::operator/=(const number& other) {
    numberops::divideequals(*mBody, *other.mBody);
    return *this;
}
number& number::hypot(const number& a, const number& b) {
    numberops::hypot(*mBody, *a.mBody, *b.mBody);
    return *this;
}
number& number::mod(const number& divisor) {
    numberops::mod(*mBody, *divisor.mBody);
    return *this;
}
bool number::operator<(const number& other) const {
    return numberops::lessthan(*mBody, *other.mBody);
}
bool number::operator<=(const number& other) const {
    return numberops::lessthanorequal(*mBody, *other.mBody);
}
bool number::operator>(const number& other) const {
    return numberops::greaterthan(*mBody, *other.mBody);
}
bool number::operator>=(const number& other) const {
    return numberops::greaterthanorequal(*mBody, *other.mBody);
}
bool number::operator==(const number& other) const {
    return numberops::equal(*mBody, *other.mBody);
}
bool number::operator!=(const number& other) const {
    return numberops::notequal(*mBody, *other.mBody);
}
number& number::abs() {
    return apply([](auto& body) { body.abs(); });
}
number& number::negate() {
    return apply([](auto& body) { body.negate(); });
}
number& number::pow2(int n) {
    return apply([n](auto& body) { body.pow2(n); });
}
number& number::ceil(int n) {
    return apply([n](auto& body) { body.ceil(n); });
}
number& number::ceil() {
    return apply([](auto& body) { body.ceil(); });
}
number& number::convergent(int n) {
    return apply([n](auto& body) { body.convergent(n); });
}
number& number::convergent() {
    return apply([](auto& body) { body.convergent(); });
}
number& number::fix(int n) {
    return apply([n](auto& body) { body.fix(n); });
}
number& number::fix() {
    return apply([](auto& body) { body.fix(); });
}
number& number::floor(int n) {
    return apply([n](auto& body) { body.floor(n); });
}
number& number::floor() {
    return apply([](auto& body) { body.floor(); });
}
number& number::nearest(int n) {
    return apply([n](auto& body) { body.nearest(n); });
}
number& number::nearest() {
    return apply([](auto& body) { body.nearest(); });
}
number& number::round(int n) {
    return apply([n](auto& body) { body.round(n); });
}
number& number::round() {
    return apply([](auto& body) { body.round(); });
}
