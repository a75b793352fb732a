/* tivar: a BMP export filter that a host loads at run time.
 *
 * The filter route, which most hosts want:
 *
 *     FilterHostRecord record = {0};
 *     fltLoadPointers(&record);
 *     MemHandle setup = CreateSetup(0, profile, mode, 0);
 *     ExportCellData(fileName, &picture, &description, parameters);
 *     DestroySetup(setup);
 *
 * The library keeps its state in a few globals and serves one picture at a time: nothing here may
 * be called from two threads at once. Nothing is thrown; every failure is a result. */
#ifndef TIVAR_TIVAR_H
#define TIVAR_TIVAR_H

#include <tivar/color.h>
#include <tivar/driver.h>
#include <tivar/export.h>
#include <tivar/filter.h>
#include <tivar/layout.h>
#include <tivar/memory.h>
#include <tivar/stream.h>
#include <tivar/types.h>

#endif
