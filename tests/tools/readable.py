"""What the tests in a browser share: the widths of a phone and of a screen, and how readable texts must be."""

WIDTHS = (390, 1280)  # pixels
LEAST_CONTRAST = 4.5  # as WCAG requires for texts of normal size

# JavaScript: contrast() of two colours, each [red, green, blue], by the formula of WCAG.
CONTRAST = """
  function luminance(rgb) {
    const [r, g, b] = rgb.map(v => { v /= 255; return v <= 0.03928 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4; });
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  }
  function contrast(a, b) {
    const [dark, light] = [luminance(a), luminance(b)].sort((x, y) => x - y);
    return (light + 0.05) / (dark + 0.05);
  }
"""
