// Sums, differences and products in all their bits, and quotients.

// r = a + b, or a - b. The points of the operands may differ, and so may their signs.
module adder #(
    parameter SUBTRACT = 0,
    parameter A_BITS = 16, A_FRACTION = 15, A_SIGNED = 1,
    parameter B_BITS = 16, B_FRACTION = 15, B_SIGNED = 1,
    parameter R_BITS = 17, R_FRACTION = 15
) (
    input  wire [A_BITS-1:0] a,
    input  wire [B_BITS-1:0] b,
    output wire [R_BITS-1:0] r
);
    wire signed [A_BITS:0]   left = {A_SIGNED != 0 && a[A_BITS-1], a};
    wire signed [B_BITS:0]   right = {B_SIGNED != 0 && b[B_BITS-1], b};
    wire signed [R_BITS-1:0] left_aligned = left <<< (R_FRACTION - A_FRACTION);
    wire signed [R_BITS-1:0] right_aligned = right <<< (R_FRACTION - B_FRACTION);
    assign r = SUBTRACT != 0 ? left_aligned - right_aligned : left_aligned + right_aligned;
endmodule

// r = a * b
module multiplier #(
    parameter A_BITS = 16, A_SIGNED = 1,
    parameter B_BITS = 16, B_SIGNED = 1
) (
    input  wire [A_BITS-1:0]        a,
    input  wire [B_BITS-1:0]        b,
    output wire [A_BITS+B_BITS-1:0] r
);
    wire signed [A_BITS:0]          left = {A_SIGNED != 0 && a[A_BITS-1], a};
    wire signed [B_BITS:0]          right = {B_SIGNED != 0 && b[B_BITS-1], b};
    wire signed [A_BITS+B_BITS+1:0] product = left * right;
    assign r = product[A_BITS+B_BITS-1:0];
endmodule

// r = a / b, rounded once. The quotient has one bit more than the result, for the half, and below it one that says
// whether the division left a remainder: a cast needs no more to round right.
module divider #(
    parameter A_BITS = 16, A_FRACTION = 15, A_SIGNED = 1,
    parameter B_BITS = 16, B_FRACTION = 15, B_SIGNED = 1,
    parameter R_BITS = 16, R_FRACTION = 15, R_SIGNED = 1,
    parameter ROUNDING = "nearest", OVERFLOW = "saturate"
) (
    input  wire [A_BITS-1:0] a,
    input  wire [B_BITS-1:0] b,
    output wire [R_BITS-1:0] r
);
    localparam SHIFT = R_FRACTION + 1 - A_FRACTION + B_FRACTION;
    localparam UP = SHIFT > 0 ? SHIFT : 0;
    localparam DOWN = SHIFT < 0 ? -SHIFT : 0;
    localparam BITS = (A_BITS + UP > B_BITS + DOWN ? A_BITS + UP : B_BITS + DOWN) + 2;

    wire signed [BITS-1:0] dividend = $signed({A_SIGNED != 0 && a[A_BITS-1], a}) <<< UP;
    wire signed [BITS-1:0] divisor = $signed({B_SIGNED != 0 && b[B_BITS-1], b}) <<< DOWN;
    wire signed [BITS-1:0] quotient = dividend / divisor;  // toward zero
    wire                   inexact = quotient * divisor != dividend;
    wire                   negative = dividend[BITS-1] ^ divisor[BITS-1];
    wire signed [BITS-1:0] floor = quotient - $signed({1'b0, inexact & negative});

    cast #(
        .A_BITS(BITS + 1), .A_FRACTION(R_FRACTION + 2), .A_SIGNED(1),
        .R_BITS(R_BITS), .R_FRACTION(R_FRACTION), .R_SIGNED(R_SIGNED),
        .ROUNDING(ROUNDING), .OVERFLOW(OVERFLOW)
    ) round (.a({floor, inexact}), .r(r));
endmodule

// r = a / b of integers, as the operator computes it: what is left over is dropped, toward zero.
module integer_divider #(
    parameter A_BITS = 16, A_SIGNED = 1,
    parameter B_BITS = 16, B_SIGNED = 1,
    parameter R_BITS = 16
) (
    input  wire [A_BITS-1:0] a,
    input  wire [B_BITS-1:0] b,
    output wire [R_BITS-1:0] r
);
    localparam BITS = (A_BITS > B_BITS ? A_BITS : B_BITS) + 1;
    wire signed [BITS-1:0]   dividend = $signed({A_SIGNED != 0 && a[A_BITS-1], a});
    wire signed [BITS-1:0]   divisor = $signed({B_SIGNED != 0 && b[B_BITS-1], b});
    wire signed [R_BITS-1:0] quotient = dividend / divisor;
    assign r = quotient;
endmodule

// A term of a sum of products: r = sum + c x, or sum - c x. The product is cast into the format P, the sum into R.
module term #(
    parameter SUBTRACT = 0,
    parameter S_BITS = 36, S_FRACTION = 30,
    parameter X_BITS = 16, X_FRACTION = 15,
    parameter C_BITS = 16, C_FRACTION = 15,
    parameter P_BITS = 32, P_FRACTION = 30, P_ROUNDING = "floor", P_OVERFLOW = "wrap",
    parameter R_BITS = 36, R_FRACTION = 30, R_ROUNDING = "floor", R_OVERFLOW = "wrap"
) (
    input  wire [S_BITS-1:0] sum,
    input  wire [X_BITS-1:0] x,
    input  wire [C_BITS-1:0] c,
    output wire [R_BITS-1:0] r
);
    wire [X_BITS+C_BITS-1:0] exact_product;
    wire [P_BITS-1:0]        product;
    multiplier #(.A_BITS(C_BITS), .B_BITS(X_BITS)) multiply (.a(c), .b(x), .r(exact_product));
    cast #(
        .A_BITS(X_BITS + C_BITS), .A_FRACTION(X_FRACTION + C_FRACTION),
        .R_BITS(P_BITS), .R_FRACTION(P_FRACTION), .ROUNDING(P_ROUNDING), .OVERFLOW(P_OVERFLOW)
    ) cast_product (.a(exact_product), .r(product));

    localparam E_FRACTION = P_FRACTION > S_FRACTION ? P_FRACTION : S_FRACTION;
    localparam P_WHOLE = P_BITS - P_FRACTION;
    localparam S_WHOLE = S_BITS - S_FRACTION;
    localparam E_BITS = (P_WHOLE > S_WHOLE ? P_WHOLE : S_WHOLE) + 1 + E_FRACTION;
    wire [E_BITS-1:0] exact_sum;
    adder #(
        .SUBTRACT(SUBTRACT), .A_BITS(S_BITS), .A_FRACTION(S_FRACTION), .B_BITS(P_BITS), .B_FRACTION(P_FRACTION),
        .R_BITS(E_BITS), .R_FRACTION(E_FRACTION)
    ) add (.a(sum), .b(product), .r(exact_sum));
    cast #(
        .A_BITS(E_BITS), .A_FRACTION(E_FRACTION),
        .R_BITS(R_BITS), .R_FRACTION(R_FRACTION), .ROUNDING(R_ROUNDING), .OVERFLOW(R_OVERFLOW)
    ) cast_sum (.a(exact_sum), .r(r));
endmodule
