// Everything a program needs to build, render, save and load Lumox scenes.
#pragma once

#include "lumox/control/lumcntrl.h"
#include "lumox/exchange/lumexchange.h"
#include "lumox/host/classes.h"
#include "lumox/host/controls.h"
#include "lumox/host/graphics.h"
#include "lumox/math/lumclass.h"
#include "lumox/math/lumgl.h"
#include "lumox/math/lummath.h"
#include "lumox/package/lumversion.h"
#include "lumox/scene/lumcomp.h"
#include "lumox/scene/lumobj.h"
#include "lumox/view/lumcam.h"
#include "lumox/view/lumview.h"
#include "lumox/view/lumwgl.h"
