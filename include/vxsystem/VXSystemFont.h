// VXSystemFont: the font a host hands to the engine's other libraries for text on screen.
// Abstract: this library draws nothing and holds no implementation; a host derives,
// loads its glyphs and draws them. Holds a scale (1.0) and a 32-bit colour (0xFF0000FF)
// that the drawing operations are expected to honour. One thread at a time per object.
#pragma once

#include "vxsystem/MemoryManager.h"

#include <cstdint>

class VXSystemFont : public VXHeapObject
{
public:
    VXSystemFont() = default;
    virtual ~VXSystemFont() = default;

    // Makes the font ready from a named source; false when it cannot.
    virtual bool Load(char const* name) = 0;
    // Draws text with its top-left corner at x, y, in the host's screen units.
    virtual void Print(char const* text, float x, float y) = 0;
    // Width of text and height of one line at the present scale.
    virtual float QTextWidth(char const* text) const = 0;
    virtual float QLineHeight() const = 0;

    float QScale() const { return fScale; }
    void SetScale(float scale) { fScale = scale; }
    uint32_t QColour() const { return uiColour; }
    void SetColour(uint32_t colour) { uiColour = colour; }

protected:
    float fScale = 1.0f;
    uint32_t uiColour = 0xFF0000FF;
};
