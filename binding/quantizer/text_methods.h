// Methods of class "quantizer" that write its words as text and read them.
#pragma once

#include "binding/frame/methods.h"

/// "num2base": quantizes doubles and writes each as a row of digits, in the width that any word takes.
void writeWordsInBase(const MethodCall& call);
/// "base2num": reads each row of a text as a word; gives a column of doubles.
void readWordsInBase(const MethodCall& call);
