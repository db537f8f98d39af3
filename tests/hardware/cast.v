// Forces a word into a format: rounds it to R_FRACTION bits of fraction, then fits it into R_BITS bits. `over` tells
// that it didn't fit.
module cast #(
    parameter A_BITS = 16, A_FRACTION = 15, A_SIGNED = 1,
    parameter R_BITS = 8, R_FRACTION = 7, R_SIGNED = 1,
    parameter ROUNDING = "nearest", OVERFLOW = "saturate"
) (
    input  wire [A_BITS-1:0] a,
    output wire [R_BITS-1:0] r,
    output wire              over
);
    // Bits that are cut off, or zeros that are appended.
    localparam CUT = A_FRACTION > R_FRACTION ? A_FRACTION - R_FRACTION : 0;
    localparam UP = R_FRACTION > A_FRACTION ? R_FRACTION - A_FRACTION : 0;
    // Room for a sign and a carry, and to cut or take bits beyond those of the word.
    localparam FULL = A_BITS + UP > CUT ? A_BITS + UP : CUT;
    localparam WIDE = (FULL > R_BITS ? FULL : R_BITS) + 2;

    wire                   sign = A_SIGNED != 0 && a[A_BITS-1];
    wire signed [WIDE-1:0] value = $signed({sign, a}) <<< UP;

    // The bits that stay, the first one that is cut off, and whether any of the others is set.
    wire signed [WIDE-1:0] kept = value >>> CUT;
    wire                   half, rest;
    generate
        if (CUT > 0) assign half = value[CUT-1];
        else         assign half = 1'b0;
        if (CUT > 1) assign rest = |value[CUT-2:0];
        else         assign rest = 1'b0;
    endgenerate
    wire odd = kept[0];
    wire inexact = half | rest;

    wire up = ROUNDING == "ceil"           ? inexact
            : ROUNDING == "toward_zero"    ? inexact & sign
            : ROUNDING == "away_from_zero" ? inexact & ~sign
            : ROUNDING == "nearest"        ? half
            : ROUNDING == "convergent"     ? half & (rest | odd)
            : ROUNDING == "nearest_odd"    ? half & (rest | ~odd)
            : ROUNDING == "nearest_away"   ? half & (rest | ~sign)
            : ROUNDING == "nearest_zero"   ? half & (rest | sign)
            : ROUNDING == "nearest_down"   ? half & rest
            : ROUNDING == "add_sign"       ? sign & (CUT > 0)
            :                                1'b0;  // floor
    wire signed [WIDE-1:0] rounded = ROUNDING == "jam" ? {kept[WIDE-1:1], odd | inexact}
                                                       : kept + $signed({1'b0, up});

    // The least word and the greatest.
    localparam signed [WIDE-1:0] ONE = 1;
    localparam signed [WIDE-1:0] MOST = (ONE <<< (R_SIGNED != 0 ? R_BITS - 1 : R_BITS)) - ONE;
    localparam signed [WIDE-1:0] LEAST = R_SIGNED == 0 ? 0 : OVERFLOW == "symmetric" ? -MOST : -MOST - ONE;
    wire                         above = rounded > MOST;
    wire                         below = rounded < LEAST;
    assign over = above || below;

    generate
        if (OVERFLOW == "wrap" || (OVERFLOW == "keep_sign" && R_SIGNED == 0))
            assign r = rounded[R_BITS-1:0];
        else if (OVERFLOW == "keep_sign")
            assign r = {rounded[WIDE-1], rounded[R_BITS-2:0]};
        else if (OVERFLOW == "zero")
            assign r = above || below ? {R_BITS{1'b0}} : rounded[R_BITS-1:0];
        else
            assign r = above ? MOST[R_BITS-1:0] : below ? LEAST[R_BITS-1:0] : rounded[R_BITS-1:0];
    endgenerate
endmodule
