// Compiled against one layer's staged include tree (never linked): what lies below the layer is
// visible and what lies above it is not, so a wrong-way include cannot build.

#if defined(LAYER_BASE)
#if !__has_include("app/base/theme.h")
#error "app/base/theme.h should be visible here"
#endif
#if __has_include("prims/json.h")
#error "prims/json.h lies above this layer"
#endif
#if __has_include("app/offline.h")
#error "app/offline.h lies above this layer"
#endif
#elif defined(LAYER_PRIMS)
#if !__has_include("app/base/theme.h")
#error "app/base/theme.h should be visible here"
#endif
#if !__has_include("prims/json.h")
#error "prims/json.h should be visible here"
#endif
#if __has_include("render/element.h")
#error "render/element.h lies above this layer"
#endif
#if __has_include("units/api.h")
#error "units/api.h lies above this layer"
#endif
#elif defined(LAYER_RENDER)
#if !__has_include("prims/json.h")
#error "prims/json.h should be visible here"
#endif
#if !__has_include("render/element.h")
#error "render/element.h should be visible here"
#endif
#if __has_include("board/viewport.h")
#error "board/viewport.h lies above this layer"
#endif
#if __has_include("units/api.h")
#error "units/api.h lies above this layer"
#endif
#elif defined(LAYER_UNITS)
#if !__has_include("units/api.h")
#error "units/api.h should be visible here"
#endif
#if __has_include("prims/json.h")
#error "prims/json.h lies above this layer"
#endif
#if __has_include("window/window.h")
#error "window/window.h lies above this layer"
#endif
#elif defined(LAYER_BOARD)
#if !__has_include("render/element.h")
#error "render/element.h should be visible here"
#endif
#if !__has_include("board/viewport.h")
#error "board/viewport.h should be visible here"
#endif
#if __has_include("window/window.h")
#error "window/window.h lies above this layer"
#endif
#if __has_include("tools/dialogs.h")
#error "tools/dialogs.h lies above this layer"
#endif
#elif defined(LAYER_TOOLS)
#if !__has_include("units/api.h")
#error "units/api.h should be visible here"
#endif
#if !__has_include("tools/dialogs.h")
#error "tools/dialogs.h should be visible here"
#endif
#if __has_include("phone/phone.h")
#error "phone/phone.h lies above this layer"
#endif
#if __has_include("window/window.h")
#error "window/window.h lies above this layer"
#endif
#elif defined(LAYER_WINDOW)
#if !__has_include("board/viewport.h")
#error "board/viewport.h should be visible here"
#endif
#if !__has_include("phone/phone.h")
#error "phone/phone.h should be visible here"
#endif
#if !__has_include("window/window.h")
#error "window/window.h should be visible here"
#endif
#if __has_include("app/offline.h")
#error "app/offline.h lies above this layer"
#endif
#elif defined(LAYER_SHELL)
#if !__has_include("window/window.h")
#error "window/window.h should be visible here"
#endif
#if !__has_include("app/offline.h")
#error "app/offline.h should be visible here"
#endif
#else
#error "name a layer"
#endif
