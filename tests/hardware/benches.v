// Test benches: each reads the words of its operands from files by $readmemh, and writes those of the results into the
// folder RESULTS. `done` stays high from the last one on.

module operation_bench #(
    parameter NAME = "", OPERATION = "cast", COUNT = 1,
    parameter A_BITS = 16, A_FRACTION = 15, A_SIGNED = 1,
    parameter B_BITS = 16, B_FRACTION = 15, B_SIGNED = 1,
    parameter R_BITS = 16, R_FRACTION = 15, R_SIGNED = 1, R_ROUNDING = "floor", R_OVERFLOW = "wrap"
) (
    input  wire clock,
    output wire done
);
    reg  [A_BITS-1:0] left[0:COUNT-1];
    reg  [B_BITS-1:0] right[0:COUNT-1];
    integer           n = 0;
    wire [A_BITS-1:0] a = left[n];
    wire [B_BITS-1:0] b = right[n];
    wire [R_BITS-1:0] r;

    generate
        if (OPERATION == "cast")
            cast #(
                .A_BITS(A_BITS), .A_FRACTION(A_FRACTION), .A_SIGNED(A_SIGNED),
                .R_BITS(R_BITS), .R_FRACTION(R_FRACTION), .R_SIGNED(R_SIGNED),
                .ROUNDING(R_ROUNDING), .OVERFLOW(R_OVERFLOW)
            ) operation (.a(a), .r(r));
        else if (OPERATION == "sum" || OPERATION == "difference")
            adder #(
                .SUBTRACT(OPERATION == "difference"),
                .A_BITS(A_BITS), .A_FRACTION(A_FRACTION), .A_SIGNED(A_SIGNED),
                .B_BITS(B_BITS), .B_FRACTION(B_FRACTION), .B_SIGNED(B_SIGNED),
                .R_BITS(R_BITS), .R_FRACTION(R_FRACTION)
            ) operation (.a(a), .b(b), .r(r));
        else if (OPERATION == "product")
            multiplier #(
                .A_BITS(A_BITS), .A_SIGNED(A_SIGNED), .B_BITS(B_BITS), .B_SIGNED(B_SIGNED)
            ) operation (.a(a), .b(b), .r(r));
        else if (OPERATION == "quotient")
            divider #(
                .A_BITS(A_BITS), .A_FRACTION(A_FRACTION), .A_SIGNED(A_SIGNED),
                .B_BITS(B_BITS), .B_FRACTION(B_FRACTION), .B_SIGNED(B_SIGNED),
                .R_BITS(R_BITS), .R_FRACTION(R_FRACTION), .R_SIGNED(R_SIGNED),
                .ROUNDING(R_ROUNDING), .OVERFLOW(R_OVERFLOW)
            ) operation (.a(a), .b(b), .r(r));
        else
            integer_divider #(
                .A_BITS(A_BITS), .A_SIGNED(A_SIGNED), .B_BITS(B_BITS), .B_SIGNED(B_SIGNED), .R_BITS(R_BITS)
            ) operation (.a(a), .b(b), .r(r));
    endgenerate

    integer results;
    initial begin
        $readmemh({NAME, ".a.hex"}, left);
        $readmemh({NAME, ".b.hex"}, right);
        results = $fopen({`RESULTS, "/", NAME, ".hex"}, "w");
    end
    assign done = n == COUNT;
    always @(posedge clock)
        if (!done) begin
            $fwrite(results, "%h\n", r);
            if (n == COUNT - 1) $fclose(results);
            n <= n + 1;
        end
endmodule

module fir_bench #(
    parameter NAME = "", COUNT = 1, TAPS = 16,
    parameter X_BITS = 16, X_FRACTION = 15,
    parameter H_BITS = 16, H_FRACTION = 15,
    parameter P_BITS = 32, P_FRACTION = 30, P_ROUNDING = "floor", P_OVERFLOW = "wrap",
    parameter S_BITS = 36, S_FRACTION = 30, S_ROUNDING = "floor", S_OVERFLOW = "wrap",
    parameter Y_BITS = 16, Y_FRACTION = 15, Y_ROUNDING = "floor", Y_OVERFLOW = "wrap"
) (
    input  wire clock,
    output wire done
);
    reg  [X_BITS-1:0] samples[0:COUNT-1];
    integer           n = 0;
    reg               start = 1;
    wire              ready;
    wire [Y_BITS-1:0] y;
    fir #(
        .TAPS(TAPS), .COEFFICIENTS({NAME, ".b.hex"}),
        .X_BITS(X_BITS), .X_FRACTION(X_FRACTION), .H_BITS(H_BITS), .H_FRACTION(H_FRACTION),
        .P_BITS(P_BITS), .P_FRACTION(P_FRACTION), .P_ROUNDING(P_ROUNDING), .P_OVERFLOW(P_OVERFLOW),
        .S_BITS(S_BITS), .S_FRACTION(S_FRACTION), .S_ROUNDING(S_ROUNDING), .S_OVERFLOW(S_OVERFLOW),
        .Y_BITS(Y_BITS), .Y_FRACTION(Y_FRACTION), .Y_ROUNDING(Y_ROUNDING), .Y_OVERFLOW(Y_OVERFLOW)
    ) filter (.clock(clock), .start(start), .x(samples[n]), .y(y), .ready(ready));

    integer results;
    initial begin
        $readmemh({NAME, ".a.hex"}, samples);
        results = $fopen({`RESULTS, "/", NAME, ".hex"}, "w");
    end
    assign done = n == COUNT;
    always @(posedge clock) begin
        start <= ready && n < COUNT - 1;
        if (ready) begin
            $fwrite(results, "%h\n", y);
            if (n == COUNT - 1) $fclose(results);
            n <= n + 1;
        end
    end
endmodule

// Sections one after the other, all in one clock. Their overflows are in a file of their own.
module cascade_bench #(
    parameter NAME = "", COUNT = 1, SECTIONS = 1, FORM = "direct1", SUBTRACT = 1,
    parameter X_BITS = 16, X_FRACTION = 15,
    parameter C_BITS = 16, C_FRACTION = 14,
    parameter E_BITS = 64, E_FRACTION = 45,
    parameter W_BITS = 0, W_FRACTION = 0, W_ROUNDING = "", W_OVERFLOW = "",
    parameter PB_BITS = 0, PB_FRACTION = 0, PB_ROUNDING = "", PB_OVERFLOW = "",
    parameter PA_BITS = 0, PA_FRACTION = 0, PA_ROUNDING = "", PA_OVERFLOW = "",
    parameter SB_BITS = 0, SB_FRACTION = 0, SB_ROUNDING = "", SB_OVERFLOW = "",
    parameter SA_BITS = 0, SA_FRACTION = 0, SA_ROUNDING = "", SA_OVERFLOW = "",
    parameter T_BITS = 0, T_FRACTION = 0, T_ROUNDING = "", T_OVERFLOW = "",
    parameter Y_BITS = 16, Y_FRACTION = 15, Y_ROUNDING = "floor", Y_OVERFLOW = "wrap"
) (
    input  wire clock,
    output wire done
);
    reg  [X_BITS-1:0] samples[0:COUNT-1];
    reg  [C_BITS-1:0] coefficients[0:6*SECTIONS-1];
    integer           n = 0;

    wire        [E_BITS-1:0]     between[0:SECTIONS];
    wire signed [X_BITS-1:0]     x = samples[n];
    wire signed [E_BITS-1:0]     extended = x;
    wire        [7*32-1:0]       overflows[0:SECTIONS-1];
    assign between[0] = extended <<< (E_FRACTION - X_FRACTION);
    genvar k;
    generate
        for (k = 0; k < SECTIONS; k = k + 1) begin : sections
            biquad #(
                .FORM(FORM), .SUBTRACT(SUBTRACT), .C_BITS(C_BITS), .C_FRACTION(C_FRACTION),
                .E_BITS(E_BITS), .E_FRACTION(E_FRACTION),
                .W_BITS(W_BITS), .W_FRACTION(W_FRACTION), .W_ROUNDING(W_ROUNDING), .W_OVERFLOW(W_OVERFLOW),
                .PB_BITS(PB_BITS), .PB_FRACTION(PB_FRACTION), .PB_ROUNDING(PB_ROUNDING), .PB_OVERFLOW(PB_OVERFLOW),
                .PA_BITS(PA_BITS), .PA_FRACTION(PA_FRACTION), .PA_ROUNDING(PA_ROUNDING), .PA_OVERFLOW(PA_OVERFLOW),
                .SB_BITS(SB_BITS), .SB_FRACTION(SB_FRACTION), .SB_ROUNDING(SB_ROUNDING), .SB_OVERFLOW(SB_OVERFLOW),
                .SA_BITS(SA_BITS), .SA_FRACTION(SA_FRACTION), .SA_ROUNDING(SA_ROUNDING), .SA_OVERFLOW(SA_OVERFLOW),
                .T_BITS(T_BITS), .T_FRACTION(T_FRACTION), .T_ROUNDING(T_ROUNDING), .T_OVERFLOW(T_OVERFLOW),
                .Y_BITS(Y_BITS), .Y_FRACTION(Y_FRACTION), .Y_ROUNDING(Y_ROUNDING), .Y_OVERFLOW(Y_OVERFLOW)
            ) section (
                .clock(clock), .enable(!done), .x(between[k]), .y(between[k+1]), .overflows(overflows[k]),
                .coefficients({coefficients[6*k+5], coefficients[6*k+4], coefficients[6*k+3],
                               coefficients[6*k+2], coefficients[6*k+1], coefficients[6*k]})
            );
        end
    endgenerate
    wire [E_BITS-1:0] last = between[SECTIONS] >> (E_FRACTION - Y_FRACTION);
    wire [Y_BITS-1:0] y = last[Y_BITS-1:0];

    integer results, counts, i, j;
    reg [7*32-1:0] section_overflows;
    initial begin
        $readmemh({NAME, ".a.hex"}, samples);
        $readmemh({NAME, ".b.hex"}, coefficients);
        results = $fopen({`RESULTS, "/", NAME, ".hex"}, "w");
        counts = $fopen({`RESULTS, "/", NAME, "_overflows.hex"}, "w");
    end
    reg written = 0;
    assign done = n == COUNT;
    always @(posedge clock)
        if (!done) begin
            $fwrite(results, "%h\n", y);
            if (n == COUNT - 1) $fclose(results);
            n <= n + 1;
        end else if (!written) begin
            for (i = 0; i < SECTIONS; i = i + 1) begin
                section_overflows = overflows[i];
                for (j = 0; j < 7; j = j + 1) $fwrite(counts, "%h\n", section_overflows[32*j +: 32]);
            end
            $fclose(counts);
            written <= 1;
        end
endmodule
