/// @file
/// Everything of the foundation library in one include.
#pragma once

#include <ostrum/Application.h>
#include <ostrum/CallTrace.h>
#include <ostrum/CommandLine.h>
#include <ostrum/Exception.h>
#include <ostrum/Executable.h>
#include <ostrum/File.h>
#include <ostrum/IniFile.h>
#include <ostrum/LibStatic.h>
#include <ostrum/Lock.h>
#include <ostrum/Log.h>
#include <ostrum/Signal.h>
#include <ostrum/String.h>
#include <ostrum/StringTokenizer.h>
#include <ostrum/Time.h>
#include <ostrum/UID.h>
