/* The choices of the last export, which GIMP keeps until it ends. */
#pragma once

#include "choices.h"

/* The defaults before the first export. */
Choices rememberedChoices(void);

void rememberChoices(const Choices* choices);
