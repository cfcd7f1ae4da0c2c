import com.zelvox.qorbetta.Model;
import com.zelvox.qorbetta.ModelDescription;

/** A tank that drains. Its level is what drives the motor, so that both depend on the right one. */
public class Tank implements Model {
    private static final double FULL = 12; // m

    private double drain;
    private double level;

    @Override
    public ModelDescription describe() {
        return ModelDescription.named("Tank")
                .input("inflow", "m/s", "height that flows in each second", 0)
                .output("level", "m", "height of the water", FULL)
                .parameter("drain", "1/s", "share of the water that leaves each second", 1)
                .experiment(0, 0.5, 1e-3)
                .build();
    }

    @Override
    public void set(int parameter, double value) {
        drain = value;
    }

    @Override
    public void initialize(double[] inputs, double[] outputs) {
        level = FULL;
        outputs[0] = level;
    }

    @Override
    public void step(double time, double stepSize, double[] inputs, double[] outputs) {
        double end = inputs[0] / drain; // where the level goes
        level = end + (level - end) * Math.exp(-drain * stepSize);
        outputs[0] = level;
    }
}
