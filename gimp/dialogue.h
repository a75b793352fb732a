/* The dialogue in which the choices are made. */
#pragma once

#include <glib.h>

#include "choices.h"
#include "subject.h"

/* Shows the choices and changes them; FALSE when the user cancels. GTK is ready. */
gboolean askForChoices(const Subject* subject, Choices* choices);
