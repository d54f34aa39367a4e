"""Where the head stands in the portrait, traced by hand: pixels, y down, clockwise from the left.

Hair, cheeks and the bare neck, closed inside the black collar, where a seam cannot be seen.
"""

PORTRAIT_SHA256 = "88431cd9653ccd539741b555fb0a46b61558b301d4110412b5bc28b5e3ea6cb5"

CENTRE = (226.0, 122.0)
CHIN = 181.0  # the lowest row that turns with the face as one rigid body
COLLAR = 244.0  # the first row that stays still
NECK = (193.0, 222.0, 34.0)  # from this row on: a cylinder, its middle column and its half width

OUTLINE = [
    (154.0, 92.0), (153.8, 80.0), (155.5, 70.0), (158.5, 60.5), (163.5, 52.0), (172.0, 44.0),
    (182.0, 37.5), (190.0, 33.0), (191.5, 29.0), (197.5, 24.0), (207.0, 20.0), (218.0, 17.2),
    (228.0, 15.8), (240.0, 16.5), (254.0, 20.8), (266.0, 26.5), (277.0, 32.5), (286.0, 40.0),
    (292.0, 49.0), (296.0, 59.0), (298.0, 70.0), (300.0, 80.0), (301.3, 88.0), (299.8, 98.0),
    (296.5, 108.0), (290.0, 117.0), (283.5, 124.0), (279.0, 129.5), (276.0, 134.0), (271.0, 136.5),
    (267.8, 137.0), (266.0, 143.0), (264.0, 150.0), (260.5, 157.5), (257.5, 164.0), (255.5, 171.0),
    (254.5, 178.0), (254.0, 186.0), (258.0, 200.0), (260.0, 215.0), (258.0, 232.0), (245.0, 240.0),
    (225.0, 244.0), (205.0, 240.0), (190.0, 226.0), (188.0, 212.0), (187.0, 198.0), (186.0, 187.0),
    (185.8, 175.0), (185.5, 160.0), (184.5, 148.0), (183.0, 137.0), (181.5, 131.0), (177.0, 129.5),
    (173.5, 126.0), (171.0, 120.0), (166.0, 115.5), (161.0, 109.5), (156.5, 101.0),
]

# The suit's ring passes behind the neck: its upper edge from left to right, where the head hides it
# (column, row, slope), and how thick it is.
RING_LEFT = (179.8, 148.5, 0.0)
RING_RIGHT = (260.3, 178.0, 0.9)
RING_THICKNESS = 6.5
