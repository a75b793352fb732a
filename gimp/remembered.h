/* The choices of the last export, which GIMP keeps until it ends. */
#ifndef FILE_TIVAR_REMEMBERED_H
#define FILE_TIVAR_REMEMBERED_H

#include "choices.h"

/* The defaults before the first export. */
Choices rememberedChoices(void);

void rememberChoices(const Choices* choices);

#endif
