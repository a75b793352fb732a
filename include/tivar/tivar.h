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
 * Settings in use, the driver's device and the display are the library's own variables. Calls that
 * touch them are served one after the other when they come from several threads; each gives what it
 * gives in some order of them. The exported variables, lpRaster and lpEMData above all, belong to
 * whichever call came last: a host with several threads leaves them alone. Memory, streams and
 * bitmaps have no common state: different ones may be used at the same time, one of them by one
 * thread at a time.
 *
 * Nothing is thrown; every failure is a result. Call-backs of the host must not throw either, nor
 * leave with longjmp. They may call anything here: what ends or replaces the thing that the running
 * call works on makes that call stop with its failure code. */
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
