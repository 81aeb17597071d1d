/**
 * @file DakTimeExport.h
 * @brief Visibility of the library's exported interfaces.
 */
#pragma once

/// Marks a class the library exports. Everything else in the library is hidden.
#define DAK_TIME_API __attribute__((visibility("default")))
