/* The library's call, in a process of its own. When the user cancels, GIMP kills the plug-in, which
 * cannot tidy up; the process that writes lives on, finds nobody who gives it rows, and has the
 * library end the call as it ends every failed one: with nothing left of the new file. */
#pragma once

#include <glib.h>
#include <tivar/write.h>

/* tivar_write_bmp_file without flags. The call-backs are called in this process: read_row, which
 * the picture must have, and progress, whose answer is not heard. */
gint32 writeApart(const TivarPicture* picture, const TivarOptions* options, const gchar* name,
                  TivarReport* report);
