// A section of second order in direct form 1, a sample every clock:
//
//     y[n] = b0 x[n] + b1 x[n-1] + b2 x[n-2] - a1 y[n-1] - a2 y[n-2]
//
// summed in this order. The input (W), the products (PB, PA), the sums after each term (SB, SA) and the output (Y) have
// formats of their own, and what they hold is cast there.
module biquad #(
    parameter COEFFICIENTS = "coefficients.hex",  // b0, b1, b2, a1, a2
    parameter X_BITS = 16, X_FRACTION = 15,
    parameter C_BITS = 16, C_FRACTION = 14,
    parameter W_BITS = 16, W_FRACTION = 15, W_ROUNDING = "nearest", W_OVERFLOW = "saturate",
    parameter PB_BITS = 32, PB_FRACTION = 29, PB_ROUNDING = "floor", PB_OVERFLOW = "wrap",
    parameter SB_BITS = 36, SB_FRACTION = 29, SB_ROUNDING = "floor", SB_OVERFLOW = "wrap",
    parameter PA_BITS = 32, PA_FRACTION = 29, PA_ROUNDING = "floor", PA_OVERFLOW = "wrap",
    parameter SA_BITS = 36, SA_FRACTION = 29, SA_ROUNDING = "floor", SA_OVERFLOW = "wrap",
    parameter Y_BITS = 16, Y_FRACTION = 15, Y_ROUNDING = "nearest", Y_OVERFLOW = "saturate"
) (
    input  wire              clock,
    input  wire [X_BITS-1:0] x,
    output wire [Y_BITS-1:0] y
);
    reg [C_BITS-1:0] coefficients[0:4];
    initial $readmemh(COEFFICIENTS, coefficients);

    // The last inputs and outputs, the newest first.
    wire [W_BITS-1:0] w[0:2];
    reg  [W_BITS-1:0] w1 = 0, w2 = 0;
    reg  [Y_BITS-1:0] y1 = 0, y2 = 0;
    assign w[1] = w1;
    assign w[2] = w2;
    always @(posedge clock) begin
        w1 <= w[0];
        w2 <= w1;
        y1 <= y;
        y2 <= y1;
    end
    cast #(
        .A_BITS(X_BITS), .A_FRACTION(X_FRACTION),
        .R_BITS(W_BITS), .R_FRACTION(W_FRACTION), .ROUNDING(W_ROUNDING), .OVERFLOW(W_OVERFLOW)
    ) cast_input (.a(x), .r(w[0]));

    wire [SB_BITS-1:0] sum_b[0:3];
    assign sum_b[0] = 0;
    genvar k;
    generate
        for (k = 0; k < 3; k = k + 1) begin : terms_b
            term #(
                .X_BITS(W_BITS), .X_FRACTION(W_FRACTION), .C_BITS(C_BITS), .C_FRACTION(C_FRACTION),
                .P_BITS(PB_BITS), .P_FRACTION(PB_FRACTION), .P_ROUNDING(PB_ROUNDING), .P_OVERFLOW(PB_OVERFLOW),
                .S_BITS(SB_BITS), .S_FRACTION(SB_FRACTION),
                .R_BITS(SB_BITS), .R_FRACTION(SB_FRACTION), .R_ROUNDING(SB_ROUNDING), .R_OVERFLOW(SB_OVERFLOW)
            ) add (.sum(sum_b[k]), .x(w[k]), .c(coefficients[k]), .r(sum_b[k+1]));
        end
    endgenerate

    wire [SA_BITS-1:0] sum_a1, sum_a2;
    term #(
        .SUBTRACT(1), .X_BITS(Y_BITS), .X_FRACTION(Y_FRACTION), .C_BITS(C_BITS), .C_FRACTION(C_FRACTION),
        .P_BITS(PA_BITS), .P_FRACTION(PA_FRACTION), .P_ROUNDING(PA_ROUNDING), .P_OVERFLOW(PA_OVERFLOW),
        .S_BITS(SB_BITS), .S_FRACTION(SB_FRACTION),
        .R_BITS(SA_BITS), .R_FRACTION(SA_FRACTION), .R_ROUNDING(SA_ROUNDING), .R_OVERFLOW(SA_OVERFLOW)
    ) subtract_a1 (.sum(sum_b[3]), .x(y1), .c(coefficients[3]), .r(sum_a1));
    term #(
        .SUBTRACT(1), .X_BITS(Y_BITS), .X_FRACTION(Y_FRACTION), .C_BITS(C_BITS), .C_FRACTION(C_FRACTION),
        .P_BITS(PA_BITS), .P_FRACTION(PA_FRACTION), .P_ROUNDING(PA_ROUNDING), .P_OVERFLOW(PA_OVERFLOW),
        .S_BITS(SA_BITS), .S_FRACTION(SA_FRACTION),
        .R_BITS(SA_BITS), .R_FRACTION(SA_FRACTION), .R_ROUNDING(SA_ROUNDING), .R_OVERFLOW(SA_OVERFLOW)
    ) subtract_a2 (.sum(sum_a1), .x(y2), .c(coefficients[4]), .r(sum_a2));

    cast #(
        .A_BITS(SA_BITS), .A_FRACTION(SA_FRACTION),
        .R_BITS(Y_BITS), .R_FRACTION(Y_FRACTION), .ROUNDING(Y_ROUNDING), .OVERFLOW(Y_OVERFLOW)
    ) cast_output (.a(sum_a2), .r(y));
endmodule
