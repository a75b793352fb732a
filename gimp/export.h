/* A drawable becomes a file. */
#pragma once

#include <glib.h>

#include "choices.h"
#include "subject.h"

/* Writes it to the file of that name, complete or not at all, with GIMP's progress bar. FALSE and
 * an error of one line when there is no file. */
gboolean exportSubject(const Subject* subject, const Choices* choices, const gchar* name,
                       GError** error);
