// The screen's pixels straight from the X server. Kept apart from the wx code: Xlib's macros
// (None, Status, Bool) clash with wx names. A fresh XGetImage each time, because a toolkit
// screen DC may hand back a cached copy of the root window.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <vector>

// RGB rows of the screen rectangle; false without an X display.
bool GrabScreen(int x, int y, int width, int height, std::vector<unsigned char>& rgb) {
    static Display* display = XOpenDisplay(nullptr);
    if (!display || width < 1 || height < 1) return false;
    XSync(display, False);
    XImage* image = XGetImage(display, DefaultRootWindow(display), x, y, unsigned(width),
                              unsigned(height), AllPlanes, ZPixmap);
    if (!image) return false;
    rgb.resize(size_t(width) * height * 3);
    unsigned char* out = rgb.data();
    for (int j = 0; j < height; ++j)
        for (int i = 0; i < width; ++i) {
            const unsigned long p = XGetPixel(image, i, j);
            *out++ = (p & image->red_mask) >> __builtin_ctzl(image->red_mask);
            *out++ = (p & image->green_mask) >> __builtin_ctzl(image->green_mask);
            *out++ = (p & image->blue_mask) >> __builtin_ctzl(image->blue_mask);
        }
    XDestroyImage(image);
    return true;
}
